#include <filesystem>

#include <gtest/gtest.h>

#include "core/host/host_setup.hpp"
#include "core/host/host_texts.hpp"
#include "tests/host/fake_programs.hpp"

namespace corvane {
namespace {

using Tool = HostSetup::Tool;
using Privilege = HostSetup::Privilege;

// What `action` threw, if it threw a HostSetupError.
std::optional<HostSetupError> thrownBy(const std::function<void()>& action) {
    try {
        action();
    } catch (const HostSetupError& error) {
        return error;
    }
    return std::nullopt;
}

// A hostile word going through a real shell is checked with the fake nmcli below.
TEST(ShellQuote, AlwaysMakesOneInertShellWord) {
    const struct {
        const char* text;
        const char* quoted;
    } cases[] = {
        {"", "''"},
        {"USB LAN 2", "'USB LAN 2'"},
        {"it's", "'it'\\''s'"},
        {"$(reboot)", "'$(reboot)'"},
        {"a\"b`c`\\d", "'a\"b`c`\\d'"},
        {"''", "''\\'''\\'''"},
        {"x $(touch y) `id` ; | & *", "'x $(touch y) `id` ; | & *'"},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(HostSetup::shellQuote(entry.text), entry.quoted) << entry.text;
    }
}

TEST(SetupCommands, BuildTheLinesForEachTool) {
    const IPv4Address server(192, 168, 0, 1);
    EXPECT_EQ(HostSetup::setManualCommand("Wired 1", server, 24, Tool::networkManager).line(),
              "nmcli connection modify 'Wired 1' ipv4.method manual ipv4.addresses "
              "192.168.0.1/24 && nmcli connection up 'Wired 1'");
    EXPECT_EQ(HostSetup::setManualCommand("eth1", server, 24, Tool::iproute2).line(),
              "ip address flush dev 'eth1' && ip address add 192.168.0.1/24 dev 'eth1' && "
              "ip link set 'eth1' up");
    EXPECT_EQ(HostSetup::setDHCPCommand("it's", Tool::networkManager)->line(),
              "nmcli connection modify 'it'\\''s' ipv4.method auto ipv4.addresses '' && "
              "nmcli connection up 'it'\\''s'");
    EXPECT_FALSE(HostSetup::setDHCPCommand("eth1", Tool::iproute2));
    // Each step needs its own sudo, or the second would run unprivileged.
    EXPECT_EQ((SetupCommand{{"ip link set 'eth1' up"}}).sudoLine(), "sudo ip link set 'eth1' up");
    EXPECT_EQ((SetupCommand{{"a 'x'", "b"}}).sudoLine(), "sudo a 'x' && sudo b");
}

// A fake nmcli that reports NetworkManager running, lists `connections`, and appends
// every other call's arguments to calls.log, one argument per line and a "--" after each.
class FakeNetworkManager : public ::testing::Test {
protected:
    void install(const std::string& connections) {
        fakes_.add("nmcli",
                   "log=" + HostSetup::shellQuote((fakes_.folder() / "calls.log").string()) +
                       R"(
case "$*" in
"-t -f RUNNING general") echo running ;;
"-t -f NAME,UUID,DEVICE,ACTIVE connection show") printf '%s\n' )" +
                       HostSetup::shellQuote(connections) + R"( ;;
"-t -f GENERAL.DEVICE,GENERAL.HWADDR device show") ;;
*) for argument in "$@"; do printf '%s\n' "$argument" >> "$log"; done; echo -- >> "$log" ;;
esac)");
    }

    std::string calls() const { return fakes_.read("calls.log"); }

    testing::FakePrograms fakes_;
};

TEST_F(FakeNetworkManager, AHostileServiceNameReachesNmcliAsOneArgument) {
    const std::string hostile = "Lab 'A' $(touch pwned) `touch pwned2`; \"x\"";
    install(hostile + ":u1:eth1:yes");
    const auto runner = fakes_.runner();
    const auto known = HostSetup::knownServiceNames(runner);
    ASSERT_NE(std::find(known.begin(), known.end(), hostile), known.end());

    const auto command =
        HostSetup::setManualCommand(hostile, IPv4Address(192, 168, 0, 1), 24, Tool::networkManager);
    HostSetup::runForService(hostile, command, runner, Privilege::administrator);

    EXPECT_EQ(calls(), "connection\nmodify\n" + hostile +
                           "\nipv4.method\nmanual\nipv4.addresses\n192.168.0.1/24\n--\n"
                           "connection\nup\n" +
                           hostile + "\n--\n");
    EXPECT_FALSE(std::filesystem::exists("pwned"));
    EXPECT_FALSE(std::filesystem::exists(fakes_.folder() / "pwned"));
}

TEST_F(FakeNetworkManager, OnlyAnExactKnownServiceNameRuns) {
    install("Ethernet:u1:eth0:yes");
    for (const std::string unknown : {"ethernet", "Ethernet ", ""}) {
        const auto command = HostSetup::setManualCommand(unknown, IPv4Address(192, 168, 0, 1), 24,
                                                         Tool::networkManager);
        EXPECT_EQ(thrownBy([&] {
                      HostSetup::runForService(unknown, command, fakes_.runner(),
                                               Privilege::administrator);
                  }),
                  HostSetupError("Unknown network service: " + unknown));
    }
    EXPECT_EQ(calls(), "");
}

TEST(RunAsAdministrator, ToldApartByPkexecsAnswer) {
    const struct {
        const char* rule;
        const char* pkexec;
        std::optional<HostSetupError> expected;
    } cases[] = {
        {"the command runs behind pkexec", "exec \"$@\"", std::nullopt},
        {"a dismissed prompt is a cancellation",
         "echo 'Error executing command as another user: Request dismissed'; exit 126",
         HostSetupError(std::string(host_texts::administratorPromptDismissed), true)},
        {"a refusal is not authorised",
         "echo 'Error executing command as another user: Not authorized'; exit 127",
         HostSetupError(std::string(host_texts::administratorNotAuthorised))},
        {"a missing program in the command is its own failure",
         "echo 'sh: 1: nmcli: not found'; exit 127", HostSetupError("sh: 1: nmcli: not found")},
        {"a failing command tells its output", "echo 'Error: no such connection.'; exit 10",
         HostSetupError("Error: no such connection.")},
        {"a silent failure still says so", "exit 4",
         HostSetupError(std::string(host_texts::commandFailed))},
    };
    for (const auto& entry : cases) {
        testing::FakePrograms fakes;
        fakes.add("pkexec", entry.pkexec);
        const auto marker = fakes.folder() / "ran";
        const SetupCommand command{{"touch " + HostSetup::shellQuote(marker.string())}};
        EXPECT_EQ(thrownBy([&] {
                      HostSetup::runAsAdministrator(command, fakes.runner(), Privilege::user);
                  }),
                  entry.expected)
            << entry.rule;
        EXPECT_EQ(std::filesystem::exists(marker), !entry.expected) << entry.rule;
    }
    const ProcessRunner withoutPkexec("/nonexistent-corvane-folder");
    EXPECT_EQ(thrownBy([&] {
                  HostSetup::runAsAdministrator({{"true"}}, withoutPkexec, Privilege::user);
              }),
              HostSetupError(std::string(host_texts::administratorToolMissing)));
}

// An administrator's successful run is the fake nmcli's above.
TEST(RunAsAdministrator, AnAdministratorsFailedRunThrows) {
    EXPECT_THROW(HostSetup::runAsAdministrator({{"false", "touch x"}}, ProcessRunner(),
                                               Privilege::administrator),
                 HostSetupError);
}

TEST(ProcessRunnerRun, ReportsTheOutcomeOfEveryKindOfRun) {
    using Output = ProcessRunner::Output;
    const ProcessRunner plain;
    EXPECT_EQ(plain.run("/bin/sh", {"-c", "echo one; echo two >&2; echo three; exit 3"}),
              (Output{3, "one\ntwo\nthree\n"}))
        << "both streams in order, with the status";
    EXPECT_EQ(plain.run("printf", {"%s|", "a b", "$(x)", "*", ""}), (Output{0, "a b|$(x)|*||"}))
        << "arguments reach the program without a shell";
    EXPECT_EQ(plain.run("/nonexistent/corvane-tool", {}),
              (Output{-1, host_texts::cannotStartProgram("/nonexistent/corvane-tool",
                                                         "No such file or directory")}));
    EXPECT_EQ(ProcessRunner("/nonexistent-corvane-folder").run("ls", {}),
              (Output{-1, host_texts::programNotFound("ls")}));

    testing::FakePrograms fakes;
    const auto notes = fakes.folder() / "notes.txt";
    std::ofstream(notes) << "not a program\n";
    EXPECT_EQ(plain.run(notes, {}),
              (Output{-1, host_texts::cannotStartProgram(notes.string(), "Permission denied")}));
    fakes.add("stuck", "echo started; exec sleep 30");
    EXPECT_EQ(fakes.runner(std::chrono::milliseconds(300)).run("stuck", {}),
              (Output{-1, host_texts::programTimedOut("stuck", 1)}));
    fakes.add("helper", "echo helped");
    EXPECT_EQ(fakes.runner().run("/bin/sh", {"-c", "helper"}), (Output{0, "helped\n"}))
        << "the child gets the runner's search path";
}

TEST(ValidUTF8, ReplacesEveryInvalidByte) {
    const struct {
        std::string bytes;
        std::string expected;
    } cases[] = {
        {"plain", "plain"},
        {"caf\xC3\xA9 \xE2\x9C\x93 \xF0\x9F\x98\x80", "caf\xC3\xA9 \xE2\x9C\x93 \xF0\x9F\x98\x80"},
        {"a\xFF"
         "b",
         "a\xEF\xBF\xBD"
         "b"},
        {"cut \xE2\x9C", "cut \xEF\xBF\xBD\xEF\xBF\xBD"},
        {"overlong \xC0\xAF", "overlong \xEF\xBF\xBD\xEF\xBF\xBD"},
        {"surrogate \xED\xA0\x80", "surrogate \xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(validUTF8(entry.bytes), entry.expected) << entry.bytes;
    }
}

} // namespace
} // namespace corvane
