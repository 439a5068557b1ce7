#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/address/subnet.hpp"

// Every sentence the configuration module shows to a user, in one place so that the
// settings sheet, the command line and the tests all read the same words.
namespace corvane::config_texts {

inline std::string prefixOutOfBounds(std::int64_t prefix) {
    return "Prefix /" + std::to_string(prefix) + " is not allowed. Use /8 to /30.";
}
inline std::string rangeOutsideSubnet(const Subnet& subnet) {
    return "Range must be inside " + subnet.description() + ".";
}
inline std::string gatewayOutsideSubnet(const Subnet& subnet) {
    return "Gateway must be inside " + subnet.description() + ".";
}
inline constexpr std::string_view serverIPIsNetworkOrBroadcast =
    "Server IP can't be the subnet's network or broadcast address.";
inline constexpr std::string_view rangeReversed = "Range start must not be after range end.";
inline constexpr std::string_view rangeIncludesNetworkOrBroadcast =
    "Range can't include the subnet's network or broadcast address.";
inline constexpr std::string_view serverIPInsideRange = "Server IP must not be inside the range.";
inline constexpr std::string_view leaseTimeOutOfBounds =
    "Lease time must be between 1 minute and 30 days.";
inline constexpr std::string_view tooManyDNSServers = "Use at most 3 DNS servers.";

inline constexpr std::string_view serverIPNotAnAddress = "Server IP must look like 192.168.0.1.";
inline constexpr std::string_view prefixNotANumber = "Prefix must be a number such as 24.";
inline constexpr std::string_view rangeNotAddresses = "Range must be two IPv4 addresses.";
inline constexpr std::string_view leaseNotADuration = "Lease time must look like 90m, 24h or 7d.";
inline constexpr std::string_view gatewayNotAnAddress =
    "Gateway must be an IPv4 address, or empty for off.";
inline constexpr std::string_view dnsNotAddresses =
    "DNS must be IPv4 addresses separated by commas, or empty for off.";

inline constexpr std::string_view oneHourLabel = "1 h";
inline constexpr std::string_view eightHoursLabel = "8 h";
inline constexpr std::string_view oneDayLabel = "24 h";
inline constexpr std::string_view sevenDaysLabel = "7 d";
inline constexpr std::string_view customLeaseLabel = "Custom";

inline std::string settingsNotSaved(const std::string& path, const std::string& reason) {
    return "Could not save the settings to " + path + ": " + reason +
           ". Make sure you can write to that folder, then try again.";
}
inline std::string settingsNotRead(const std::string& path, const std::string& reason) {
    return "Could not read the settings in " + path + ": " + reason +
           ". Make sure you can read that file, then try again.";
}
inline constexpr std::string_view noSettingsFolder =
    "Could not find a folder for the settings. Set HOME or XDG_CONFIG_HOME, then try again.";

} // namespace corvane::config_texts
