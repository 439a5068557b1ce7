#pragma once

#include <string>
#include <string_view>

#include "core/address/ipv4_address.hpp"

// Every text of the application model that a user reads, in one place so that the screens,
// the log and the tests take them from the same source.
namespace corvane::app_texts {

inline constexpr std::string_view leaseLabel = "LEASE";
inline std::string couldNotReadLeases(std::string_view error) {
    return "Could not read leases: " + std::string(error);
}

// Validation messages are whole sentences; the first one is enough to act on.
inline std::string settingsInvalid(std::string_view firstProblem) {
    return "The server can't start with these settings: " + std::string(firstProblem) +
           " Open Settings and correct them.";
}

inline constexpr std::string_view logFilterPlaceholder = "Filter (MAC, IP, type)";
inline constexpr std::string_view clearLogHelp =
    "Clear the on-screen log (the log file keeps everything)";

inline constexpr std::string_view tcpdumpPrefix = "sudo tcpdump -i ";
inline constexpr std::string_view tcpdumpSuffix = " -n -e 'udp port 67 or udp port 68'";
// Captures on every card when neither a run nor a selection names one.
inline constexpr std::string_view tcpdumpFallbackInterface = "any";
inline constexpr std::string_view copyTcpdumpCommand = "Copy tcpdump command";
inline constexpr std::string_view readyToHandOut = "is ready to hand out";
inline constexpr std::string_view waitingHint =
    "Nothing has arrived for over a minute. Try power-cycling the device, check that it uses "
    "DHCP, and check that no firewall on this computer blocks UDP ports 67 and 68.";

inline constexpr std::string_view adapterLabel = "ADAPTER";
inline std::string configureTitle(std::string_view service, IPv4Address ip, long long prefix) {
    return "Configure " + std::string(service) + " as " + ip.description() + "/" +
           std::to_string(prefix) + "?";
}
inline std::string restoreTitle(std::string_view service) {
    return "Set " + std::string(service) + " back to DHCP?";
}
inline constexpr std::string_view confirmationIntro = "Corvane will run:\n\n";
inline std::string confirmation(std::string_view commandLine) {
    return std::string(confirmationIntro) + std::string(commandLine);
}
inline constexpr std::string_view runWithPassword = "Run with administrator password";
inline constexpr std::string_view copyTerminalCommand = "Copy Terminal command";
inline std::string removesAddressesWarning(std::string_view card) {
    return "This first removes every address on " + std::string(card) +
           ", so anything else using them on that card loses its connection.";
}
inline constexpr std::string_view terminalFallback = "\n\nYou can run this in Terminal instead:\n";
inline std::string terminalOffer(std::string_view terminalLine) {
    return std::string(terminalFallback) + std::string(terminalLine);
}
inline std::string commandSucceeded(std::string_view commandLine) {
    return "ran " + std::string(commandLine);
}
inline std::string commandFailed(std::string_view message) {
    return "failed: " + std::string(message);
}
inline std::string commandCancelled(std::string_view message) {
    return "cancelled: " + std::string(message);
}
inline constexpr std::string_view chooseCardFirst =
    "Choose a network card first, then configure it.";
inline std::string noDHCPToRestore(std::string_view service) {
    return std::string(service) +
           " is not managed by NetworkManager, so Corvane cannot hand it back to DHCP. Use your "
           "system's network settings to do it.";
}

inline constexpr std::string_view forgetTitle = "Forget this lease?";
inline constexpr std::string_view forgetDetail =
    "The device gets a new address the next time it asks.";
inline constexpr std::string_view clearTitle = "Clear expired leases?";
inline constexpr std::string_view clearDetail =
    "Removes expired, released and reclaimed records. Active leases stay.";

inline std::string leaseFileInUse(std::string_view path) {
    return "Another Corvane server is using the lease file " + std::string(path) +
           ". Stop it first (corvane serve with Ctrl-C), then press Start again.";
}
inline std::string captureNotSaved(std::string_view path, std::string_view reason) {
    return "The capture could not be saved to " + std::string(path) + " (" + std::string(reason) +
           "). Choose another folder.";
}
inline std::string notAnswered(std::string_view reason) {
    return "Not answered: " + std::string(reason);
}

inline std::string browserAddress(IPv4Address ip) {
    return "http://" + ip.description() + "/";
}

} // namespace corvane::app_texts
