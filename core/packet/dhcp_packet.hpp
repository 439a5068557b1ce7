#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/packet/dhcp_message_type.hpp"
#include "core/packet/dhcp_option_field.hpp"
#include "core/packet/packet_error.hpp"

namespace corvane {

// One BOOTP/DHCP message (RFC 2131 section 2). The server-name area is not kept, and the
// boot-file area only on the way out: both are skipped on reading, the server name is
// written as zeros and the file area holds `bootFile`. A default packet is an Ethernet
// BOOTREQUEST with a zero `chaddr` and no options; replies start from it.
struct DHCPPacket {
    // The fixed header up to the magic cookie.
    static constexpr std::size_t headerLength = 236;
    static constexpr std::array<std::uint8_t, 4> magicCookie{99, 130, 83, 99};
    // RFC 951 fixed a BOOTP message at 300 bytes (a 64-byte vendor area); some clients and
    // relays still drop anything shorter.
    static constexpr std::size_t minimumReplyLength = 300;

    std::uint8_t op = 1;
    std::uint8_t htype = 1;
    std::uint8_t hlen = 6;
    std::uint8_t hops = 0;
    std::uint32_t xid = 0;
    std::uint16_t secs = 0;
    std::uint16_t flags = 0;
    IPv4Address ciaddr;
    IPv4Address yiaddr;
    IPv4Address siaddr;
    IPv4Address giaddr;
    Bytes chaddr = Bytes(16, 0);
    std::vector<DHCPOptionField> options;
    // The boot file name a reply names in the file area; at most 127 bytes are written,
    // so the area always ends with a zero.
    std::string bootFile{};

    static std::variant<DHCPPacket, PacketError> parse(std::span<const std::uint8_t> datagram);
    // The wire form, padded with zeros to `minimumLength` when shorter.
    Bytes serialize(std::size_t minimumLength) const;

    // The data of the first option with this code.
    std::optional<Bytes> option(std::uint8_t code) const;
    // Replaces the first option with this code where it stands, or appends a new one, so a
    // reply's options go out in the order they were first set. More than 255 bytes of data
    // cannot be encoded and stops the program.
    void setOption(std::uint8_t code, Bytes data);

    // The typed readers give no value for an absent or malformed option; they never fail.
    // Option 53 (RFC 2132 section 9.6), exactly one byte naming a known type.
    std::optional<DHCPMessageType> messageType() const;
    // The first six bytes of `chaddr`, for Ethernet-length hardware addresses only.
    std::optional<MACAddress> mac() const;
    // Options 12 and 60 (RFC 2132 sections 3.14 and 9.13), shown with `printable` at 64.
    std::optional<std::string> hostname() const;
    std::optional<std::string> vendorClass() const;
    // Option 61 (RFC 2132 section 9.14) as colon-separated lower-case hex pairs, e.g.
    // 01:00:1a:2b:3c:4d:5e.
    std::optional<std::string> clientID() const;
    // Options 50 and 54 (RFC 2132 sections 9.1 and 9.7), exactly four bytes.
    std::optional<IPv4Address> requestedIP() const;
    std::optional<IPv4Address> serverID() const;

    // Bytes shown safely: printable ASCII as is, anything else as \xNN, never longer than
    // `limit` characters and never cutting an escape in half.
    static std::string printable(std::span<const std::uint8_t> bytes, std::size_t limit);

    friend bool operator==(const DHCPPacket&, const DHCPPacket&) = default;

private:
    const Bytes* firstOption(std::uint8_t code) const;
};

} // namespace corvane
