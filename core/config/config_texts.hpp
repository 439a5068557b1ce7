#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/address/subnet.hpp"
#include "core/options/option_catalog.hpp"

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

inline std::string reservationOutsideSubnet(const MACAddress& mac, IPv4Address ip,
                                            const Subnet& subnet) {
    return "Reserved address " + ip.description() + " for " + mac.description() +
           " must be inside " + subnet.description() + ".";
}
inline std::string reservationOnServerIP(const MACAddress& mac, IPv4Address ip) {
    return "Reserved address " + ip.description() + " for " + mac.description() +
           " is the server's own address; reserve another one.";
}
inline std::string addressReservedTwice(IPv4Address ip) {
    return "Address " + ip.description() +
           " is reserved twice; reserve each address for one device only.";
}
inline std::string deviceReservedTwice(const MACAddress& mac) {
    return "Device " + mac.description() + " has two reservations; give each device one address.";
}
// Where the settings window sets what an owned option carries; empty when nothing does.
inline std::string_view settingFieldName(OwningSetting owner) {
    switch (owner) {
    case OwningSetting::serverIP:
        return "the Server IP field";
    case OwningSetting::prefix:
        return "the Prefix field";
    case OwningSetting::lease:
        return "the Lease time field";
    case OwningSetting::router:
        return "the Gateway field";
    case OwningSetting::dns:
        return "the DNS field";
    case OwningSetting::bootFile:
        return "the Boot file field";
    case OwningSetting::none:
        break;
    }
    return {};
}
inline std::string optionOwnedByServer(std::uint8_t code, std::string_view settingName) {
    auto sentence = "Option " + std::to_string(code) + " is written by Corvane itself";
    if (settingName.empty()) {
        return sentence + " and can't be set.";
    }
    return sentence + "; set it with " + std::string(settingName) + " instead.";
}
inline constexpr std::string_view bootFileTooLong =
    "Boot file name must be at most 127 bytes long.";
inline constexpr std::string_view reservationNotMACEqualsIP =
    "A reservation must be written as MAC=IP or MAC=IP=NAME, such as "
    "02:00:00:00:00:01=192.168.0.50=camera.";
inline std::string reservationBadMAC(std::string_view text) {
    return "\"" + std::string(text) + "\" is not a MAC address; write it like 02:00:00:00:00:01.";
}
inline std::string reservationBadAddress(std::string_view text) {
    return "\"" + std::string(text) + "\" is not an IPv4 address; write it like 192.168.0.50.";
}

inline std::string optionCodeNotANumber(std::string_view text) {
    return "Option code \"" + std::string(text) + "\" must be a number from 1 to 254.";
}
inline std::string optionGivenTwice(std::uint8_t code) {
    return "Option " + std::to_string(code) + " is given twice; keep one value.";
}
inline constexpr std::string_view nextServerNotAnAddress =
    "Boot server must be an IPv4 address, or empty for none.";

inline std::string configFileUnreadable(const std::string& path) {
    return "Could not read the configuration file " + path +
           ". Make sure it exists and you can read it.";
}
inline std::string configFileNotJSON(const std::string& path, const std::string& reason) {
    return "The configuration file " + path + " is not valid JSON (" + reason +
           "). Fix it and try again.";
}
inline std::string configFileNotAnObject(const std::string& path) {
    return "The configuration file " + path +
           " must hold one JSON object, such as {\"interface\": \"eth1\"}.";
}
inline std::string configFileUnknownKey(const std::string& path, const std::string& key) {
    return "The configuration file " + path + " has the unknown key \"" + key +
           "\". Use serverIP, prefixLength, rangeStart, rangeEnd, leaseSeconds, router, dns, "
           "reservations, options, nextServer, bootFile and interface.";
}
inline std::string configFileBadInterface(const std::string& path) {
    return "The \"interface\" of the configuration file " + path +
           " must be a card name, such as \"eth1\".";
}
inline std::string configFileBadValue(const std::string& path, const std::string& reason) {
    return "The configuration file " + path + " could not be used: " + reason;
}

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
