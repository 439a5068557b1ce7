#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/address/ipv4_address.hpp"
#include "core/host/host_setup_error.hpp"
#include "core/host/network_card.hpp"
#include "core/host/process_runner.hpp"
#include "core/host/setup_command.hpp"

namespace corvane {

// Builds and runs the commands that give a card the server's address, or hand it back to
// DHCP, with administrator rights. The application shows the exact command before it runs
// and offers its sudo form for running it by hand.
class HostSetup {
public:
    // Which tool owns the cards' configuration on this computer.
    enum class Tool { networkManager, iproute2 };
    // Whether this process may run the command itself or must ask through polkit.
    enum class Privilege { administrator, user };

    // The administrator prompt waits on a person, so it gets far longer than a probe.
    static constexpr std::chrono::minutes administratorTimeLimit{10};

    // POSIX single quoting: always exactly one shell word, whatever the text holds.
    static std::string shellQuote(std::string_view text);
    // The tool that configures this very card: a card NetworkManager does not manage (one
    // in another network namespace, say) is set with iproute2 even where it runs.
    static Tool toolFor(const NetworkCard& card);
    static SetupCommand setManualCommand(std::string_view service, IPv4Address ip, int prefixLength,
                                         Tool tool);
    // No value where there is nothing to hand the card back to (plain iproute2).
    static std::optional<SetupCommand> setDHCPCommand(std::string_view service, Tool tool);
    // NetworkManager's connection names, and the names of the interfaces it does not
    // manage, which are their own services.
    static std::vector<std::string> knownServiceNames(const ProcessRunner& runner);
    // `name` itself when it is one of `among` (exact, case-sensitive); otherwise throws
    // HostSetupError "Unknown network service: {name}".
    static std::string validatedService(const std::string& name,
                                        const std::vector<std::string>& among);
    static Privilege currentPrivilege();
    // Runs the command as root: directly when this process is root, else through pkexec.
    // Throws HostSetupError; a dismissed prompt gives isCancellation().
    static void runAsAdministrator(const SetupCommand& command, const ProcessRunner& runner,
                                   Privilege privilege = currentPrivilege());
    // The confirmation step: refuses a service the system does not know before anything
    // runs, then runs the command as root.
    static void runForService(const std::string& service, const SetupCommand& command,
                              const ProcessRunner& runner,
                              Privilege privilege = currentPrivilege());
};

} // namespace corvane
