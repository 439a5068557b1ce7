#include <gtest/gtest.h>

#include "cli/cli_texts.hpp"
#include "cli/config_flags.hpp"
#include "cli/subcommands.hpp"
#include "cli/text_table.hpp"
#include "cli/usage_error.hpp"
#include "tests/host/fake_programs.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane::cli {
namespace {

// What the configuration flags in `arguments` make of `saved`: the configuration, or the
// problems that refused it.
struct Resolution {
    std::optional<ServerConfig> config;
    std::vector<std::string> problems;
    std::string interfaceName;
    bool virtualCards = false;
};

Resolution resolveFlags(const std::vector<std::string>& arguments,
                        const ServerConfig& saved = ServerConfig::defaultConfig()) {
    CLI::App command("test");
    ConfigFlags flags;
    flags.addTo(command);
    std::vector<const char*> argv = {"corvane"};
    for (const auto& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    command.parse(static_cast<int>(argv.size()), argv.data());
    Resolution resolution;
    resolution.virtualCards = flags.showVirtualCards(false);
    try {
        resolution.config = flags.resolve(saved);
        resolution.interfaceName = flags.interfaceName("");
    } catch (const UsageError& error) {
        resolution.problems = error.problems();
    }
    return resolution;
}

std::vector<std::string> problemsOf(const std::vector<std::string>& arguments) {
    return resolveFlags(arguments).problems;
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
        EXPECT_EQ(resolveFlags(entry.arguments).config, expected)
            << ::testing::PrintToString(entry.arguments);
    }
}

TEST(ConfigFlags, EmptyValuesClearTheRouterAndTheDNSServers) {
    auto saved = ServerConfig::defaultConfig();
    saved.router = IPv4Address(192, 168, 0, 254);
    saved.dns = {IPv4Address(192, 168, 0, 1)};
    const auto config = resolveFlags({"--router", "", "--dns", ""}, saved).config;
    ASSERT_TRUE(config);
    EXPECT_FALSE(config->router);
    EXPECT_TRUE(config->dns.empty());
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
    EXPECT_TRUE(resolveFlags({"--virtual"}).virtualCards);
    EXPECT_FALSE(resolveFlags({}).virtualCards);
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

// A configuration file in the test's own temporary folder.
class ConfigFileTest : public ::testing::Test {
protected:
    std::string write(const std::string& json) {
        testing::writeFile(folder_ / "lab.json", json);
        return (folder_ / "lab.json").string();
    }

private:
    testing::TemporaryFolder folder_;
};

// One row per way a problem finds its flag; the sentences themselves are the configuration's
// and the option parser's own.
TEST(LabFlags, EachBadValueQuotesItsFlagAndSaysWhatIsWrong) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--reserve", "02:00:00:00:00:zz=192.168.0.5"},
         "--reserve 02:00:00:00:00:zz=192.168.0.5: \"02:00:00:00:00:zz\" is not a MAC address"},
        {{"--reserve", "02:00:00:00:00:01"}, "--reserve 02:00:00:00:00:01: A reservation must be"},
        {{"--reserve", "02:00:00:00:00:01=10.0.0.5"},
         "--reserve 02:00:00:00:00:01=10.0.0.5: Reserved address 10.0.0.5 for 02:00:00:00:00:01 "
         "must be inside 192.168.0.0/24."},
        {{"--reserve", "02:00:00:00:00:01=192.168.0.9", "--reserve",
          "02:00:00:00:00:02=192.168.0.9"},
         "--reserve 02:00:00:00:00:02=192.168.0.9: Address 192.168.0.9 is reserved twice"},
        {{"--option", "0=x"}, "--option 0=x: An option code must be a number from 1 to 254."},
        {{"--option", "66"}, "--option 66: An option must be written as CODE=VALUE"},
        {{"--option", "6=1.1.1.1"},
         "--option 6=1.1.1.1: Option 6 is written by Corvane itself; use --dns instead."},
        {{"--option", "66=a", "--option", "66=b"}, "--option 66=b: Option 66 is given twice"},
        {{"--next-server", "tftp"}, "--next-server: \"tftp\" is not an IPv4 address."},
        {{"--boot-file", std::string(128, 'b')},
         "--boot-file " + std::string(128, 'b') + ": Boot file name must be at most 127 bytes"},
    };
    for (const auto& [arguments, expected] : cases) {
        const auto resolution = resolveFlags(arguments);
        ASSERT_EQ(resolution.problems.size(), 1u) << expected;
        EXPECT_TRUE(resolution.problems.front().starts_with(expected))
            << resolution.problems.front();
    }
}

TEST_F(ConfigFileTest, TheFileGivesTheCardAndLabKeysAndFlagsOverrideIt) {
    const auto path = write(R"({"interface": "eth7", "serverIP": "10.1.0.1", "prefixLength": 16,
        "rangeStart": "10.1.0.100", "rangeEnd": "10.1.0.200",
        "reservations": [{"mac": "02:00:00:00:00:01", "ip": "10.1.5.5", "name": "cam"}],
        "options": {"66": "tftp.lab", "42": "10.1.0.1"}, "nextServer": "10.1.0.2",
        "bootFile": "pxelinux.0"})");
    const auto resolution = resolveFlags(
        {"--config", path, "--reserve", "02:00:00:00:00:01=10.1.6.6", "--option", "66=other"});
    ASSERT_TRUE(resolution.config) << resolution.problems.front();
    EXPECT_EQ(resolution.interfaceName, "eth7");
    const auto& config = *resolution.config;
    EXPECT_EQ(config.serverIP, IPv4Address(10, 1, 0, 1));
    EXPECT_EQ(config.leaseSeconds, ServerConfig::defaultConfig().leaseSeconds);
    EXPECT_EQ(config.reservations,
              (std::vector<Reservation>{
                  {*MACAddress::parse("02:00:00:00:00:01"), IPv4Address(10, 1, 6, 6), ""}}));
    EXPECT_EQ(config.options,
              (std::map<std::uint8_t, std::string>{{42, "10.1.0.1"}, {66, "other"}}));
    EXPECT_EQ(config.nextServer, IPv4Address(10, 1, 0, 2));
    EXPECT_EQ(config.bootFile, "pxelinux.0");
}

TEST_F(ConfigFileTest, ABadFileIsOneSentenceNamingIt) {
    for (const auto& [json, expected] : std::vector<std::pair<std::string, std::string>>{
             {"{", "is not valid JSON"},
             {"[]", "must hold one JSON object"},
             {R"({"interfce": "eth1"})", "has the unknown key \"interfce\""},
             {R"({"options": {"224": "hex:zz"}})", ": Option 224 needs pairs of hexadecimal"},
             {R"({"reservations": [{"mac": "x", "ip": "192.168.0.5"}]})", "is not a MAC address"},
         }) {
        const auto path = write(json);
        const auto resolution = resolveFlags({"--config", path});
        ASSERT_EQ(resolution.problems.size(), 1u) << json;
        EXPECT_NE(resolution.problems.front().find(path), std::string::npos)
            << resolution.problems.front();
        EXPECT_NE(resolution.problems.front().find(expected), std::string::npos)
            << resolution.problems.front();
    }
}

} // namespace
} // namespace corvane::cli
