#include <filesystem>

#include <gtest/gtest.h>

#include "core/host/host_setup.hpp"
#include "core/host/host_texts.hpp"
#include "tests/host/fake_programs.hpp"

namespace corvane {
namespace {

using Tool = HostSetup::Tool;
using Privilege = HostSetup::Privilege;

TEST(ShellQuote, AlwaysMakesOneInertShellWord) {
    struct Case {
        const char* text;
        const char* quoted;
    };
    const Case cases[] = {
        {"", "''"},
        {"USB LAN 2", "'USB LAN 2'"},
        {"it's", "'it'\\''s'"},
        {"$(reboot)", "'$(reboot)'"},
        {"a\"b`c`\\d", "'a\"b`c`\\d'"},
        {"''", "''\\'''\\'''"},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(HostSetup::shellQuote(entry.text), entry.quoted) << entry.text;
    }
}

TEST(ShellQuote, ReachesTheShellUnchanged) {
    const std::string hostile = "it's $(touch x) `id` \"q\" \\ ; | & *";
    const auto output =
        ProcessRunner().run("/bin/sh", {"-c", "printf '%s' " + HostSetup::shellQuote(hostile)});
    EXPECT_EQ(output, (ProcessRunner::Output{0, hostile}));
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
}

TEST(SetupCommands, SudoCoversEveryStep) {
    const SetupCommand single{{"ip link set 'eth1' up"}};
    EXPECT_EQ(single.sudoLine(), "sudo ip link set 'eth1' up");
    const SetupCommand twoSteps{{"a 'x'", "b"}};
    EXPECT_EQ(twoSteps.sudoLine(), "sudo a 'x' && sudo b");
}

TEST(ValidatedService, AcceptsOnlyAnExactKnownName) {
    const std::vector<std::string> known = {"Ethernet", "USB LAN"};
    EXPECT_EQ(HostSetup::validatedService("USB LAN", known), "USB LAN");
    for (const std::string unknown : {"ethernet", "USB LAN ", ""}) {
        try {
            HostSetup::validatedService(unknown, known);
            ADD_FAILURE() << "accepted " << unknown;
        } catch (const HostSetupError& error) {
            EXPECT_EQ(error, HostSetupError("Unknown network service: " + unknown));
        }
    }
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
    install("Lab 'A' $(touch pwned) `touch pwned2`; \"x\":u1:eth1:yes");
    const auto runner = fakes_.runner();
    ASSERT_EQ(HostSetup::activeTool(runner), Tool::networkManager);
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

TEST_F(FakeNetworkManager, AnUnknownServiceIsRefusedBeforeAnythingRuns) {
    install("Ethernet:u1:eth0:yes");
    const auto command = HostSetup::setManualCommand("ethernet", IPv4Address(192, 168, 0, 1), 24,
                                                     Tool::networkManager);
    try {
        HostSetup::runForService("ethernet", command, fakes_.runner(), Privilege::administrator);
        FAIL() << "an unknown service ran";
    } catch (const HostSetupError& error) {
        EXPECT_EQ(error.message(), "Unknown network service: ethernet");
        EXPECT_FALSE(error.isCancellation());
    }
    EXPECT_EQ(calls(), "");
}

TEST(RunAsAdministrator, ToldApartByPkexecsAnswer) {
    struct Case {
        const char* rule;
        const char* pkexec;
        std::optional<HostSetupError> expected;
    };
    const Case cases[] = {
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
        std::optional<HostSetupError> thrown;
        try {
            HostSetup::runAsAdministrator(command, fakes.runner(), Privilege::user);
        } catch (const HostSetupError& error) {
            thrown = error;
        }
        EXPECT_EQ(thrown, entry.expected) << entry.rule;
        EXPECT_EQ(std::filesystem::exists(marker), !entry.expected) << entry.rule;
    }
}

TEST(RunAsAdministrator, WithoutPkexecSaysWhatToInstall) {
    const ProcessRunner nowhere("/nonexistent-corvane-folder");
    try {
        HostSetup::runAsAdministrator({{"true"}}, nowhere, Privilege::user);
        FAIL() << "ran without pkexec";
    } catch (const HostSetupError& error) {
        EXPECT_EQ(error.message(), host_texts::administratorToolMissing);
    }
}

TEST(RunAsAdministrator, AnAdministratorRunsTheLineDirectly) {
    testing::FakePrograms fakes;
    const auto marker = fakes.folder() / "ran";
    HostSetup::runAsAdministrator({{"true", "touch " + HostSetup::shellQuote(marker.string())}},
                                  fakes.runner(), Privilege::administrator);
    EXPECT_TRUE(std::filesystem::exists(marker));
    EXPECT_THROW(HostSetup::runAsAdministrator({{"false", "touch x"}}, fakes.runner(),
                                               Privilege::administrator),
                 HostSetupError);
}

TEST(ProcessRunnerRun, CollectsBothStreamsInOrderWithTheStatus) {
    const auto output =
        ProcessRunner().run("/bin/sh", {"-c", "echo one; echo two >&2; echo three; exit 3"});
    EXPECT_EQ(output, (ProcessRunner::Output{3, "one\ntwo\nthree\n"}));
}

TEST(ProcessRunnerRun, PassesArgumentsWithoutAShell) {
    const auto output = ProcessRunner().run("printf", {"%s|", "a b", "$(x)", "*", ""});
    EXPECT_EQ(output, (ProcessRunner::Output{0, "a b|$(x)|*||"}));
}

TEST(ProcessRunnerRun, ReportsProgramsThatCannotStart) {
    const auto missingPath = ProcessRunner().run("/nonexistent/corvane-tool", {});
    EXPECT_EQ(missingPath.status, -1);
    EXPECT_EQ(missingPath.text, host_texts::cannotStartProgram("/nonexistent/corvane-tool",
                                                               "No such file or directory"));
    const auto notOnPath = ProcessRunner("/nonexistent-corvane-folder").run("ls", {});
    EXPECT_EQ(notOnPath, (ProcessRunner::Output{-1, host_texts::programNotFound("ls")}));
    const auto notExecutable = ProcessRunner().run("/etc/hostname", {});
    EXPECT_EQ(notExecutable.status, -1);
    EXPECT_FALSE(notExecutable.text.empty());
}

TEST(ProcessRunnerRun, StopsAChildThatOutlivesTheTimeLimit) {
    testing::FakePrograms fakes;
    fakes.add("stuck", "echo started; exec sleep 30");
    const auto output = fakes.runner(std::chrono::milliseconds(300)).run("stuck", {});
    EXPECT_EQ(output, (ProcessRunner::Output{-1, host_texts::programTimedOut("stuck", 1)}));
}

TEST(ProcessRunnerRun, GivesTheChildTheRunnersSearchPath) {
    testing::FakePrograms fakes;
    fakes.add("helper", "echo helped");
    const auto output = fakes.runner().run("/bin/sh", {"-c", "helper"});
    EXPECT_EQ(output, (ProcessRunner::Output{0, "helped\n"}));
}

TEST(ValidUTF8, ReplacesEveryInvalidByte) {
    struct Case {
        std::string bytes;
        std::string expected;
    };
    const Case cases[] = {
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
