#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "cli/cli_texts.hpp"

// The texts of the commands that serve, show and edit leases, and run the demo, in one place
// so that the end-to-end tests compare against the same words the program prints.
namespace corvane::cli::texts {

inline std::string pathText(const std::filesystem::path& path) {
    return texts::quoted(path.string());
}

inline constexpr std::string_view preflightRefused =
    "Corvane did not start, because these checks failed:";
inline constexpr std::string_view preflightRefusedHint =
    "Fix them and start again, or add --force to serve anyway.";

inline std::string leaseFileInUseByServer(const std::filesystem::path& leaseFile) {
    return "Another corvane serve is using the lease file " + pathText(leaseFile) +
           ". Stop it first, or give this server its own file with --lease-file.";
}
inline std::string leaseFileInUseForEdit(const std::filesystem::path& leaseFile) {
    return "A running corvane serve is using the lease file " + pathText(leaseFile) +
           ". Stop it (Ctrl-C), then run this command again.";
}

inline std::string badMAC(std::string_view text) {
    return quoted(text) +
           " is not a MAC address. Write six pairs of hex digits separated by colons, such as "
           "3c:22:fb:01:02:03.";
}
inline std::string noLeaseFor(std::string_view mac, const std::filesystem::path& leaseFile) {
    return "There is no lease for " + std::string(mac) + " in " + pathText(leaseFile) +
           ". Run \"corvane leases\" to see the leases it holds.";
}
inline std::string forgotLease(std::string_view mac, std::string_view ip) {
    return "Forgot the lease of " + std::string(mac) + " (" + std::string(ip) +
           "). The device gets a new address the next time it asks.";
}
inline std::string clearedExpired(std::size_t count) {
    if (count == 0) {
        return "No expired, released or reclaimed leases to clear. Active leases stay.";
    }
    return "Cleared " + std::to_string(count) +
           (count == 1 ? " expired, released or reclaimed lease."
                       : " expired, released or reclaimed leases.") +
           " Active leases stay.";
}
inline std::string noLeases(const std::filesystem::path& leaseFile) {
    return "No leases in " + pathText(leaseFile) + ".";
}
inline std::string leaseChangesLost(std::size_t count) {
    return std::to_string(count) +
           " lease changes could not be saved before the stop and are lost. Free some space "
           "for the lease file, then start again; devices will ask for their addresses anew.";
}
inline std::string leaseFileUnreadable(std::string_view error) {
    return std::string(error) + " Check the file's permissions, or name another file with "
                                "--lease-file.";
}
inline std::string leaseFileNotSaved(std::string_view error) {
    return std::string(error) + " Nothing was changed.";
}

// The column of a lease's remaining time.
inline std::string expiresIn(std::string_view duration) {
    return "in " + std::string(duration);
}
inline constexpr std::string_view expired = "expired";
inline constexpr std::string_view noValue = "-";

inline constexpr std::string_view demoNeedsRoot =
    "corvane demo creates private network namespaces, which needs root. Run it with sudo: "
    "sudo corvane demo";
inline std::string demoProgramMissing(std::string_view program, std::string_view package) {
    return "corvane demo needs " + std::string(program) +
           ", which is not installed. Install it "
           "with: sudo apt-get install " +
           std::string(package);
}
inline std::string demoSetupFailed(std::string_view step, std::string_view output) {
    return "corvane demo could not set up its virtual cable (" + std::string(step) +
           "): " + std::string(output) + " Nothing was left behind.";
}
inline constexpr std::string_view badSeconds =
    "--seconds: give a whole number of seconds from 1 to 86400, such as 30.";
inline std::string demoIntroduction(std::string_view serverText, std::string_view device) {
    return "A virtual cable joins two private network namespaces. Corvane serves " +
           std::string(serverText) + " at one end; busybox udhcpc plays the device " +
           std::string(device) + " at the other. Ctrl-C ends the demo.";
}
inline constexpr std::string_view demoCleanedUp =
    "The demo removed its namespaces, its virtual cable and its files.";
inline std::string demoDeviceFound(std::string_view device, std::string_view ip) {
    return "The device " + std::string(device) + " got " + std::string(ip) + ".";
}
inline std::string demoNoDevice(std::string_view device) {
    return "The device " + std::string(device) +
           " got no address in this run. The log above shows how far it came.";
}

// Talking to a running server through its control socket.
inline std::string noServerOn(const std::filesystem::path& leaseFile) {
    return "No corvane serve is running on the lease file " + pathText(leaseFile) +
           ". Start one with \"corvane serve\", or name its file with --lease-file.";
}
inline std::string serverUnreachable(const std::filesystem::path& leaseFile,
                                     std::string_view reason) {
    return "A corvane serve holds the lease file " + pathText(leaseFile) +
           " but cannot be reached: " + std::string(reason) +
           " If it is starting, try again in a moment.";
}
inline std::string serverRefused(std::string_view reason) {
    return "The running server refused: " + std::string(reason);
}
inline std::string noLeaseWithin(std::string_view mac, long long seconds) {
    return std::string(mac) + " did not get an address within " + std::to_string(seconds) +
           " seconds. Check that the device is cabled and asking for an address.";
}
inline std::string serverStoppedWaiting(std::string_view mac) {
    return "The server stopped before " + std::string(mac) + " got an address.";
}
inline std::string badTimeout(long long seconds) {
    return "--timeout: " + std::to_string(seconds) +
           " is not a waiting time. Give a whole number of seconds, 1 or more.";
}

} // namespace corvane::cli::texts
