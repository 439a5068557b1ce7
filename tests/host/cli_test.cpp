#include <gtest/gtest.h>

#include "cli/cli_texts.hpp"
#include "cli/config_flags.hpp"
#include "cli/subcommands.hpp"
#include "cli/usage_error.hpp"
#include "tests/host/fake_programs.hpp"

namespace corvane::cli {
namespace {

// The problems UsageError names for `arguments` given as configuration flags.
std::vector<std::string> problemsOf(const std::vector<std::string>& arguments) {
    CLI::App command("test");
    ConfigFlags flags;
    flags.addTo(command);
    std::vector<const char*> argv = {"corvane"};
    for (const auto& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    try {
        command.parse(static_cast<int>(argv.size()), argv.data());
        flags.resolve(ServerConfig::defaultConfig());
    } catch (const UsageError& error) {
        return error.problems();
    }
    return {};
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

TEST(CorvaneCommand, BadFlagValuesAreSentencesWithStatusTwo) {
    const auto output = ProcessRunner().run(
        CORVANE_BINARY, {"check", "--interface", "eth0", "--server-ip", "1.2.3", "--dns", "x"});
    EXPECT_EQ(output,
              (ProcessRunner::Output{usageStatus, texts::badAddress("--server-ip", "1.2.3") + "\n" +
                                                      texts::badDNS("x") + "\n"}));
    const auto missing = ProcessRunner().run(CORVANE_BINARY, {"check"});
    EXPECT_EQ(missing.status, usageStatus);
}

} // namespace
} // namespace corvane::cli
