#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/address/address_range.hpp"
#include "core/address/ipv4_address.hpp"
#include "core/address/subnet.hpp"
#include "core/config/config_error.hpp"
#include "core/config/reservation.hpp"

namespace corvane {

// How the DHCP server behaves on the chosen card. A plain value: it may hold anything,
// and `validate()` says whether it may be used.
struct ServerConfig {
    // The server's own address on the card, and its DHCP server identifier.
    IPv4Address serverIP;
    // Signed so that a hand-edited settings file with a negative prefix still decodes and
    // is then refused by `validate()` with a message, instead of failing to load.
    std::int64_t prefixLength = 0;
    IPv4Address rangeStart;
    IPv4Address rangeEnd;
    std::uint32_t leaseSeconds = 0;
    std::optional<IPv4Address> router;
    std::vector<IPv4Address> dns;
    // Devices that always get the same address, in the order they were given.
    std::vector<Reservation> reservations{};
    // Extra options by code, each value in the text form `encodeOptionValue` reads, kept as
    // written so the settings window and error messages show what the user typed.
    std::map<std::uint8_t, std::string> options{};
    // The boot server for a reply's siaddr, and the boot file for its file field and, when
    // the client asks for it, option 67.
    std::optional<IPv4Address> nextServer{};
    std::string bootFile{};

    // 192.168.0.1/24 serving .100 to .200 for a day, with no router and no DNS servers.
    static ServerConfig defaultConfig();

    // The server's address with the prefix clamped into 0...32.
    Subnet subnet() const;
    IPv4Address mask() const;
    IPv4Address broadcastAddress() const;
    // T1 and T2 (RFC 2131 4.4.5): half and seven eighths of the lease.
    std::uint32_t renewalSeconds() const;
    std::uint32_t rebindingSeconds() const;
    // The pool from the smaller to the larger end, well formed even when they are reversed.
    AddressRange range() const;
    // Addresses in the pool as stored; a reversed range holds none.
    std::int64_t rangeCount() const;
    // Whether `ip` lies between the stored ends; a reversed range contains nothing.
    bool inRange(IPv4Address ip) const;

    // The reservation of this device, if it has one.
    const Reservation* reservationFor(const MACAddress& mac) const;
    // Whether `ip` is reserved for a device other than `mac`.
    bool isReservedForAnother(IPv4Address ip, const MACAddress& mac) const;

    // Every rule this configuration breaks, in the order the settings sheet shows them.
    // Empty means it may be served. A bad prefix is reported alone, since every other rule
    // depends on the subnet.
    std::vector<ConfigError> validate() const;

    friend bool operator==(const ServerConfig&, const ServerConfig&) = default;
};

// The settings form of a configuration: addresses as dotted-quad strings, "router" and
// "nextServer" only when set, "reservations", "options" and "bootFile" only when not empty.
// Decoding is strict and all-or-nothing: a missing key, a wrong JSON type or an address that does
// not parse throws `DecodingError`; nothing is validated here.
void to_json(nlohmann::json& document, const ServerConfig& config);
void from_json(const nlohmann::json& document, ServerConfig& config);

} // namespace corvane
