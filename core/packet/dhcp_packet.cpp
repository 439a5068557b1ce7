#include "core/packet/dhcp_packet.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "core/address/big_endian.hpp"
#include "core/packet/option_code.hpp"
#include "core/packet/packet_reader.hpp"

namespace corvane {
namespace {

constexpr std::size_t chaddrLength = 16;
// Server name (64 bytes) and boot file name (128 bytes), RFC 2131 section 2.
constexpr std::size_t serverNameAndFileLength = 192;
constexpr std::size_t serverNameLength = 64;
constexpr std::size_t bootFileLength = 128;
constexpr std::size_t maximumOptionData = 255;
// Host names and vendor classes are shown in one log line and one table cell.
constexpr std::size_t displayedTextLimit = 64;

// A longer option cannot be encoded; writing it anyway would corrupt every option after
// it, so this is a programming error that must not go unnoticed.
void requireEncodableOption(std::uint8_t code, std::size_t length) {
    if (length > maximumOptionData) {
        std::fprintf(stderr, "DHCP option %u has %zu bytes of data, more than the 255 allowed.\n",
                     static_cast<unsigned>(code), length);
        std::abort();
    }
}

template <std::size_t Width> void append(Bytes& out, const std::array<std::uint8_t, Width>& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

std::optional<IPv4Address> addressOption(const Bytes* data) {
    if (data == nullptr) {
        return std::nullopt;
    }
    return IPv4Address::fromBytes(*data);
}

std::optional<std::string> printableOption(const Bytes* data) {
    if (data == nullptr) {
        return std::nullopt;
    }
    return DHCPPacket::printable(*data, displayedTextLimit);
}

} // namespace

std::variant<DHCPPacket, PacketError> DHCPPacket::parse(std::span<const std::uint8_t> datagram) {
    if (datagram.size() < headerLength + magicCookie.size()) {
        return PacketError::tooShort(static_cast<std::int64_t>(datagram.size()));
    }
    PacketReader reader(datagram);
    DHCPPacket packet;
    packet.op = reader.readByte();
    packet.htype = reader.readByte();
    packet.hlen = reader.readByte();
    packet.hops = reader.readByte();
    packet.xid = reader.readUInt32();
    packet.secs = reader.readUInt16();
    packet.flags = reader.readUInt16();
    packet.ciaddr = reader.readAddress();
    packet.yiaddr = reader.readAddress();
    packet.siaddr = reader.readAddress();
    packet.giaddr = reader.readAddress();
    const auto chaddr = reader.readBytes(chaddrLength);
    packet.chaddr.assign(chaddr.begin(), chaddr.end());
    reader.skip(serverNameAndFileLength);
    const auto cookie = reader.readBytes(magicCookie.size());
    if (!std::equal(cookie.begin(), cookie.end(), magicCookie.begin(), magicCookie.end())) {
        return PacketError::badMagicCookie();
    }

    // Option overload (option 52) is deliberately not honoured: the sname and file areas are
    // never searched, which keeps what we log equal to what we decide on.
    while (reader.hasMore()) {
        const auto code = reader.readByte();
        if (code == OptionCode::pad) {
            continue;
        }
        if (code == OptionCode::end) {
            break;
        }
        const auto length = reader.readByte();
        const auto data = reader.readBytes(length);
        if (reader.overran()) {
            return PacketError::optionOverrun(code);
        }
        packet.options.push_back({code, Bytes(data.begin(), data.end())});
    }
    return packet;
}

Bytes DHCPPacket::serialize(std::size_t minimumLength) const {
    Bytes out;
    out.reserve(std::max(minimumLength, headerLength + magicCookie.size() + 1));
    out.insert(out.end(), {op, htype, hlen, hops});
    append(out, bigEndianBytes(xid));
    append(out, bigEndianBytes(secs));
    append(out, bigEndianBytes(flags));
    for (const auto address : {ciaddr, yiaddr, siaddr, giaddr}) {
        append(out, address.bytes());
    }
    const auto kept = std::min(chaddr.size(), chaddrLength);
    out.insert(out.end(), chaddr.begin(), chaddr.begin() + static_cast<std::ptrdiff_t>(kept));
    out.resize(out.size() + (chaddrLength - kept) + serverNameLength, 0);
    const auto fileStart = out.size();
    const auto fileKept = std::min(bootFile.size(), bootFileLength - 1);
    out.insert(out.end(), bootFile.begin(),
               bootFile.begin() + static_cast<std::ptrdiff_t>(fileKept));
    out.resize(fileStart + bootFileLength, 0);
    append(out, magicCookie);
    for (const auto& field : options) {
        requireEncodableOption(field.code, field.data.size());
        out.push_back(field.code);
        out.push_back(static_cast<std::uint8_t>(field.data.size()));
        out.insert(out.end(), field.data.begin(), field.data.end());
    }
    out.push_back(OptionCode::end);
    if (out.size() < minimumLength) {
        out.resize(minimumLength, 0);
    }
    return out;
}

std::optional<Bytes> DHCPPacket::option(std::uint8_t code) const {
    if (const auto* data = firstOption(code)) {
        return *data;
    }
    return std::nullopt;
}

void DHCPPacket::setOption(std::uint8_t code, Bytes data) {
    requireEncodableOption(code, data.size());
    const auto existing = std::find_if(options.begin(), options.end(),
                                       [code](const auto& field) { return field.code == code; });
    if (existing != options.end()) {
        existing->data = std::move(data);
    } else {
        options.push_back({code, std::move(data)});
    }
}

std::optional<DHCPMessageType> DHCPPacket::messageType() const {
    const auto* data = firstOption(OptionCode::messageType);
    if (data == nullptr || data->size() != 1) {
        return std::nullopt;
    }
    return dhcpMessageType(data->front());
}

std::optional<MACAddress> DHCPPacket::mac() const {
    if (hlen != 6 || chaddr.size() < 6) {
        return std::nullopt;
    }
    return MACAddress::fromBytes(std::span(chaddr).first(6));
}

std::optional<std::string> DHCPPacket::hostname() const {
    return printableOption(firstOption(OptionCode::hostname));
}

std::optional<std::string> DHCPPacket::vendorClass() const {
    return printableOption(firstOption(OptionCode::vendorClass));
}

std::optional<std::string> DHCPPacket::clientID() const {
    const auto* data = firstOption(OptionCode::clientID);
    if (data == nullptr) {
        return std::nullopt;
    }
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(data->size() * 3);
    for (const auto byte : *data) {
        if (!text.empty()) {
            text += ':';
        }
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::optional<IPv4Address> DHCPPacket::requestedIP() const {
    return addressOption(firstOption(OptionCode::requestedIP));
}

std::optional<IPv4Address> DHCPPacket::serverID() const {
    return addressOption(firstOption(OptionCode::serverID));
}

const Bytes* DHCPPacket::firstOption(std::uint8_t code) const {
    const auto found = std::find_if(options.begin(), options.end(),
                                    [code](const auto& field) { return field.code == code; });
    return found == options.end() ? nullptr : &found->data;
}

} // namespace corvane
