#pragma once

#include <string>
#include <string_view>

// Every text of the host module that a user can read, in one place, so that the program
// and its tests take them from the same source.
namespace corvane::host_texts {

inline constexpr std::string_view noAddress = "no address";
inline constexpr std::string_view selfAssignedSuffix = " (self-assigned)";
inline constexpr std::string_view manualSuffix = " (manual)";
inline constexpr std::string_view dhcpSuffix = " (DHCP)";

inline constexpr std::string_view fullDuplexSuffix = " full-duplex";
inline constexpr std::string_view halfDuplexSuffix = " half-duplex";

inline std::string notWiredCard(std::string_view cardName) {
    return std::string(cardName) + " is not a wired card.";
}
inline std::string mainInternetConnection(std::string_view cardName) {
    return std::string(cardName) + " is this computer's main internet connection.";
}
inline constexpr std::string_view wiredCard = "Wired card, not this computer's internet route";
inline constexpr std::string_view virtualEthernetCard =
    "Virtual Ethernet card, not this computer's internet route";

inline std::string foreignDHCPServer(std::string_view address) {
    return "This card is on a network that already has a DHCP server (it got " +
           std::string(address) + ").";
}
inline constexpr std::string_view noForeignDHCPServer =
    "No other DHCP server has configured this card";

inline std::string adapterSet(std::string_view service, std::string_view serverText) {
    return std::string(service) + " is set to " + std::string(serverText);
}
inline std::string adapterNotSet(std::string_view serverText) {
    return "Card isn't set to " + std::string(serverText);
}
inline std::string noNetworkService(std::string_view cardName) {
    return "No network service for " + std::string(cardName) +
           ". Add it in System Settings > Network.";
}

inline std::string subnetOverlap(std::string_view serverNetwork, std::string_view otherNetwork,
                                 std::string_view otherInterface) {
    return std::string(serverNetwork) + " overlaps " + std::string(otherNetwork) + " (" +
           std::string(otherInterface) + ")";
}
inline constexpr std::string_view noSubnetOverlap = "No overlap with other networks";

inline std::string vpnInsideSubnet(std::string_view address, std::string_view interfaceName,
                                   std::string_view serverNetwork) {
    return "VPN address " + std::string(address) + " on " + std::string(interfaceName) +
           " is inside " + std::string(serverNetwork);
}

inline constexpr std::string_view portFree = "Port 67 is free";
// The media description of a virtual Ethernet card with link.
inline constexpr std::string_view virtualLink = "virtual link";
inline constexpr std::string_view unknownPortHolder = "another program";
inline std::string portInUse(std::string_view holder) {
    return "Port 67 is in use by " + std::string(holder) +
           ". Stop it, or turn off the shared connection or virtual-machine network that started "
           "it.";
}
inline std::string portCannotOpen(std::string_view reason) {
    return "Port 67 can't be opened: " + std::string(reason);
}
// What follows "Port 67 can't be opened: " when the program lacks the capability.
inline std::string portNeedsCapability(std::string_view programPath) {
    return "this program may not use ports below 1024. Grant it that right with: sudo setcap "
           "cap_net_bind_service,cap_net_raw=ep " +
           std::string(programPath);
}

inline std::string linkUp(std::string_view media) {
    return "Link up \u00b7 " + std::string(media);
}
inline constexpr std::string_view connectedMedia = "connected";
inline constexpr std::string_view noLink = "No link: the server will start and wait for a device";

inline std::string noOtherServer(std::string_view card) {
    return "No other DHCP server answers on " + std::string(card);
}
inline std::string otherServerAnswers(std::string_view address, std::string_view mac,
                                      std::string_view card) {
    return std::string(address) + " (" + std::string(mac) + ") answers DHCP on " +
           std::string(card) + ": devices may take its address instead";
}
inline std::string otherServerUnknown(std::string_view card, std::string_view reason) {
    return "Could not look for another DHCP server on " + std::string(card) + " (" +
           std::string(reason) + "). Run corvane with cap_net_raw to check.";
}
inline constexpr std::string_view vmwareRunning = "VMware is running and may grab the adapter";

inline constexpr std::string_view checklistFooter =
    "Start is enabled once every \u2717 is fixed. \u26a0 items never block it.";

inline std::string unknownService(std::string_view name) {
    return "Unknown network service: " + std::string(name);
}
inline constexpr std::string_view administratorPromptDismissed =
    "The administrator prompt was dismissed, so nothing was changed.";
inline constexpr std::string_view administratorNotAuthorised =
    "You are not allowed to run this command as an administrator. Ask an administrator, or "
    "run the command in a terminal with sudo.";
inline constexpr std::string_view administratorToolMissing =
    "Corvane cannot ask for administrator rights because pkexec (polkit) is not installed. "
    "Install polkit, or run the command in a terminal with sudo.";
inline constexpr std::string_view commandFailed = "The command failed.";

inline std::string cannotStartProgram(std::string_view program, std::string_view reason) {
    return "Could not start " + std::string(program) + ": " + std::string(reason) + ".";
}
inline std::string programNotFound(std::string_view program) {
    return "Could not start " + std::string(program) +
           ": it is not installed or not on the search path.";
}
inline std::string programTimedOut(std::string_view program, long long seconds) {
    return std::string(program) + " did not finish within " + std::to_string(seconds) +
           (seconds == 1 ? " second" : " seconds") + " and was stopped.";
}

} // namespace corvane::host_texts
