#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "cli/config_flags.hpp"
#include "cli/subcommands.hpp"
#include "cli/usage_error.hpp"
#include "core/host/process_runner.hpp"

namespace corvane::cli {
namespace {

struct Resolution {
    std::optional<ServerConfig> config;
    std::vector<std::string> problems;
    std::string interfaceName;
};

Resolution resolveFlags(const std::vector<std::string>& arguments) {
    CLI::App command("test");
    ConfigFlags flags;
    flags.addTo(command);
    std::vector<const char*> argv = {"corvane"};
    for (const auto& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    command.parse(static_cast<int>(argv.size()), argv.data());
    try {
        Resolution resolution{flags.resolve(ServerConfig::defaultConfig()), {}, {}};
        resolution.interfaceName = flags.interfaceName("");
        return resolution;
    } catch (const UsageError& error) {
        return {std::nullopt, error.problems(), {}};
    }
}

// A configuration file in the test's own temporary folder, removed afterwards.
class ConfigFileTest : public ::testing::Test {
protected:
    std::string write(const std::string& json) {
        std::ofstream(path_) << json;
        return path_.string();
    }
    void TearDown() override { std::filesystem::remove(path_); }

private:
    std::filesystem::path path_ = std::filesystem::temp_directory_path() /
                                  ("corvane-lab-" + std::to_string(::getpid()) + ".json");
};

TEST(LabFlags, EachBadValueQuotesItsFlagAndSaysWhatIsWrong) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--reserve", "02:00:00:00:00:zz=192.168.0.5"},
         "--reserve 02:00:00:00:00:zz=192.168.0.5: \"02:00:00:00:00:zz\" is not a MAC address"},
        {{"--reserve", "02:00:00:00:00:01=192.168.0"},
         "--reserve 02:00:00:00:00:01=192.168.0: \"192.168.0\" is not an IPv4 address"},
        {{"--reserve", "02:00:00:00:00:01"}, "--reserve 02:00:00:00:00:01: A reservation must be"},
        {{"--reserve", "02:00:00:00:00:01=10.0.0.5"},
         "--reserve 02:00:00:00:00:01=10.0.0.5: Reserved address 10.0.0.5 for 02:00:00:00:00:01 "
         "must be inside 192.168.0.0/24."},
        {{"--reserve", "02:00:00:00:00:01=192.168.0.1"},
         "--reserve 02:00:00:00:00:01=192.168.0.1: Reserved address 192.168.0.1"},
        {{"--reserve", "02:00:00:00:00:01=192.168.0.9", "--reserve",
          "02:00:00:00:00:02=192.168.0.9"},
         "--reserve 02:00:00:00:00:02=192.168.0.9: Address 192.168.0.9 is reserved twice"},
        {{"--reserve", "02:00:00:00:00:01=192.168.0.9", "--reserve",
          "02:00:00:00:00:01=192.168.0.8"},
         "--reserve 02:00:00:00:00:01=192.168.0.8: Device 02:00:00:00:00:01 has two reservations"},
        {{"--option", "0=x"}, "--option 0=x: An option code must be a number from 1 to 254."},
        {{"--option", "255=x"}, "--option 255=x: An option code must be a number from 1 to 254."},
        {{"--option", "66"}, "--option 66: An option must be written as CODE=VALUE"},
        {{"--option", "224=hex:zz"},
         "--option 224=hex:zz: Option 224 needs pairs of hexadecimal digits after hex:"},
        {{"--option", "42=ntp.lab"}, "--option 42=ntp.lab: Option 42 (NTP servers) needs IPv4"},
        {{"--option", "6=1.1.1.1"},
         "--option 6=1.1.1.1: Option 6 is written by Corvane itself; use --dns instead."},
        {{"--option", "67=boot"},
         "--option 67=boot: Option 67 is written by Corvane itself; use --boot-file instead."},
        {{"--option", "61=hex:01"},
         "--option 61=hex:01: Option 61 is written by Corvane itself and can't be set."},
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

TEST(LabFlags, TheProgramExitsTwoWithTheSentence) {
    const auto output = ProcessRunner().run(CORVANE_BINARY, {"serve", "--option", "224=hex:zz"});
    EXPECT_EQ(output.status, usageStatus);
    EXPECT_TRUE(output.text.starts_with("--option 224=hex:zz: Option 224 needs")) << output.text;
}

} // namespace
} // namespace corvane::cli
