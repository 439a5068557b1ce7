#include <gtest/gtest.h>

#include "cli/cli_texts.hpp"
#include "cli/config_flags.hpp"
#include "cli/subcommands.hpp"
#include "cli/text_table.hpp"
#include "cli/usage_error.hpp"
#include "tests/host/fake_programs.hpp"

namespace corvane::cli {
namespace {

// Parses `arguments` as a command with the configuration flags and resolves them on top
// of `saved`.
ServerConfig resolved(const std::vector<std::string>& arguments, bool* virtualCards = nullptr,
                      const ServerConfig& saved = ServerConfig::defaultConfig()) {
    CLI::App command("test");
    ConfigFlags flags;
    flags.addTo(command);
    std::vector<const char*> argv = {"corvane"};
    for (const auto& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    command.parse(static_cast<int>(argv.size()), argv.data());
    if (virtualCards != nullptr) {
        *virtualCards = flags.showVirtualCards(false);
    }
    return flags.resolve(saved);
}

std::vector<std::string> problemsOf(const std::vector<std::string>& arguments) {
    try {
        resolved(arguments);
    } catch (const UsageError& error) {
        return error.problems();
    }
    return {};
}

TEST(ConfigFlags, EachFlagReplacesOneField) {
    const auto base = ServerConfig::defaultConfig();
    struct Case {
        std::vector<std::string> arguments;
        std::function<void(ServerConfig&)> change;
    };
    const Case cases[] = {
        {{}, [](auto&) {}},
        {{"--server-ip", "192.168.0.2"},
         [](auto& config) { config.serverIP = IPv4Address(192, 168, 0, 2); }},
        {{"--prefix", "16", "--range", "192.168.5.1-192.168.5.9"},
         [](auto& config) {
             config.prefixLength = 16;
             config.rangeStart = IPv4Address(192, 168, 5, 1);
             config.rangeEnd = IPv4Address(192, 168, 5, 9);
         }},
        {{"--lease", "90m"}, [](auto& config) { config.leaseSeconds = 5400; }},
        {{"--router", "192.168.0.254"},
         [](auto& config) { config.router = IPv4Address(192, 168, 0, 254); }},
        {{"--dns", "192.168.0.1,9.9.9.9"},
         [](auto& config) {
             config.dns = {IPv4Address(192, 168, 0, 1), IPv4Address(9, 9, 9, 9)};
         }},
    };
    for (const auto& entry : cases) {
        auto expected = base;
        entry.change(expected);
        EXPECT_EQ(resolved(entry.arguments), expected) << ::testing::PrintToString(entry.arguments);
    }
}

TEST(ConfigFlags, EmptyValuesClearTheRouterAndTheDNSServers) {
    auto saved = ServerConfig::defaultConfig();
    saved.router = IPv4Address(192, 168, 0, 254);
    saved.dns = {IPv4Address(192, 168, 0, 1)};
    const auto config = resolved({"--router", "", "--dns", ""}, nullptr, saved);
    EXPECT_FALSE(config.router);
    EXPECT_TRUE(config.dns.empty());
}

TEST(ConfigFlags, EveryUnreadableValueIsNamed) {
    EXPECT_EQ(
        problemsOf({"--server-ip", "192.168.0", "--prefix", "twenty", "--range", "192.168.0.100",
                    "--lease", "1.5h", "--router", "gw", "--dns", "1.1.1.1,,8.8.8.x"}),
        (std::vector<std::string>{texts::badAddress("--server-ip", "192.168.0"),
                                  texts::badPrefix("twenty"), texts::badRange("192.168.0.100"),
                                  texts::badLease("1.5h"), texts::badAddress("--router", "gw"),
                                  texts::badDNS(""), texts::badDNS("8.8.8.x")}));
    EXPECT_EQ(problemsOf({"--prefix", "-8"}), std::vector<std::string>{texts::badPrefix("-8")});
    EXPECT_EQ(problemsOf({"--range", "1.1.1.1-2.2.2.2-3.3.3.3"}),
              std::vector<std::string>{texts::badRange("1.1.1.1-2.2.2.2-3.3.3.3")});
}

TEST(ConfigFlags, AReadableConfigurationMustStillKeepTheRules) {
    EXPECT_EQ(problemsOf({"--prefix", "31"}),
              std::vector<std::string>{"Prefix /31 is not allowed. Use /8 to /30."});
    EXPECT_EQ(problemsOf({"--lease", "30s", "--router", "10.0.0.1"}),
              (std::vector<std::string>{"Gateway must be inside 192.168.0.0/24.",
                                        "Lease time must be between 1 minute and 30 days."}));
}

TEST(ConfigFlags, VirtualCardsFollowTheFlagOrTheSavedSetting) {
    bool virtualCards = false;
    resolved({"--virtual"}, &virtualCards);
    EXPECT_TRUE(virtualCards);
    resolved({}, &virtualCards);
    EXPECT_FALSE(virtualCards);
    EXPECT_TRUE(ConfigFlags().showVirtualCards(true));
}

TEST(CorvaneCommand, BadFlagValuesAreSentencesWithStatusTwo) {
    const auto output = ProcessRunner().run(
        CORVANE_BINARY, {"check", "--interface", "eth0", "--server-ip", "1.2.3", "--dns", "x"});
    EXPECT_EQ(output,
              (ProcessRunner::Output{usageStatus, texts::badAddress("--server-ip", "1.2.3") + "\n" +
                                                      texts::badDNS("x") + "\n"}));
    const auto missing = ProcessRunner().run(CORVANE_BINARY, {"check"});
    EXPECT_EQ(missing.status, usageStatus);
}

TEST(TextTable, AlignsColumnsByCharactersNotBytes) {
    TextTable table({"A", "LINK", "Z"});
    table.addRow({"x", "up \u00b7 fast", "1"});
    table.addRow({"longer", "down"});
    EXPECT_EQ(table.render(), "A       LINK       Z\n"
                              "x       up \u00b7 fast  1\n"
                              "longer  down\n");
    EXPECT_EQ(displayWidth("\u2713 ok"), 4u);
}

} // namespace
} // namespace corvane::cli
