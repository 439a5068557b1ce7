#include "core/host/host_setup.hpp"

#include <algorithm>

#include <unistd.h>

#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/network_manager.hpp"
#include "core/host/rtnetlink.hpp"

namespace corvane {
namespace {

// pkexec's own exit statuses; see pkexec(1).
constexpr int promptDismissedStatus = 126;
constexpr int notAuthorisedStatus = 127;

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::string failureText(const ProcessRunner::Output& output) {
    const auto text = trimmed(output.text);
    return text.empty() ? std::string(host_texts::commandFailed) : text;
}

} // namespace

std::string HostSetup::shellQuote(std::string_view text) {
    std::string quoted = "'";
    for (const char character : text) {
        if (character == '\'') {
            quoted += "'\\''";
        } else {
            quoted += character;
        }
    }
    return quoted + "'";
}

HostSetup::Tool HostSetup::toolFor(const NetworkCard& card) {
    return card.managedByNetworkManager ? Tool::networkManager : Tool::iproute2;
}

SetupCommand HostSetup::setManualCommand(std::string_view service, IPv4Address ip, int prefixLength,
                                         Tool tool) {
    const auto name = shellQuote(service);
    const auto address = ip.description() + "/" + std::to_string(prefixLength);
    if (tool == Tool::networkManager) {
        return {
            {"nmcli connection modify " + name + " ipv4.method manual ipv4.addresses " + address,
             "nmcli connection up " + name}};
    }
    return {{"ip address flush dev " + name, "ip address add " + address + " dev " + name,
             "ip link set " + name + " up"}};
}

std::optional<SetupCommand> HostSetup::setDHCPCommand(std::string_view service, Tool tool) {
    if (tool != Tool::networkManager) {
        return std::nullopt;
    }
    const auto name = shellQuote(service);
    return SetupCommand{{"nmcli connection modify " + name + " ipv4.method auto ipv4.addresses ''",
                         "nmcli connection up " + name}};
}

std::vector<std::string> HostSetup::knownServiceNames(const ProcessRunner& runner) {
    std::vector<std::string> names;
    std::vector<NetworkManager::Device> managed;
    if (NetworkManager::isRunning(runner)) {
        for (const auto& connection : NetworkManager::connections(runner)) {
            names.push_back(connection.name);
        }
        managed = NetworkManager::devices(runner);
    }
    for (const auto& link : Rtnetlink::links()) {
        if (!Interfaces::isManagedByNetworkManager(link, managed)) {
            names.push_back(link.name);
        }
    }
    return names;
}

std::string HostSetup::validatedService(const std::string& name,
                                        const std::vector<std::string>& among) {
    if (std::find(among.begin(), among.end(), name) == among.end()) {
        throw HostSetupError(host_texts::unknownService(name));
    }
    return name;
}

HostSetup::Privilege HostSetup::currentPrivilege() {
    return geteuid() == 0 ? Privilege::administrator : Privilege::user;
}

void HostSetup::runAsAdministrator(const SetupCommand& command, const ProcessRunner& runner,
                                   Privilege privilege) {
    const auto patient = runner.withTimeLimit(
        std::max<std::chrono::milliseconds>(runner.timeLimit(), administratorTimeLimit));
    if (privilege == Privilege::administrator) {
        const auto output = patient.run("/bin/sh", {"-c", command.line()});
        if (output.status != 0) {
            throw HostSetupError(failureText(output));
        }
        return;
    }
    if (!patient.locate("pkexec")) {
        throw HostSetupError(std::string(host_texts::administratorToolMissing));
    }
    const auto output = patient.run("pkexec", {"/bin/sh", "-c", command.line()});
    if (output.status == 0) {
        return;
    }
    if (output.status == promptDismissedStatus) {
        throw HostSetupError(std::string(host_texts::administratorPromptDismissed), true);
    }
    // The shell also answers 127 for a missing program; pkexec's refusal says so.
    if (output.status == notAuthorisedStatus &&
        (trimmed(output.text).empty() || output.text.find("Not authorized") != std::string::npos)) {
        throw HostSetupError(std::string(host_texts::administratorNotAuthorised));
    }
    throw HostSetupError(failureText(output));
}

void HostSetup::runForService(const std::string& service, const SetupCommand& command,
                              const ProcessRunner& runner, Privilege privilege) {
    validatedService(service, knownServiceNames(runner));
    runAsAdministrator(command, runner, privilege);
}

} // namespace corvane
