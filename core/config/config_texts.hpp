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

} // namespace corvane::config_texts
