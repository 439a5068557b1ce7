#include "core/events/packet_summary.hpp"

#include "core/packet/option_code.hpp"

namespace corvane {
namespace {

// Option 53 names a type only when it is the single byte RFC 2132 section 9.6 defines.
std::optional<DHCPMessageType> typeOf(const DHCPPacket& packet) {
    const auto data = packet.option(OptionCode::messageType);
    if (!data || data->size() != 1) {
        return std::nullopt;
    }
    return dhcpMessageType(data->front());
}

std::optional<std::string> printableOption(const DHCPPacket& packet, std::uint8_t code) {
    const auto data = packet.option(code);
    if (!data) {
        return std::nullopt;
    }
    return DHCPPacket::printable(*data, PacketSummary::textLimit);
}

// An address option of any length but four is ignored, not guessed at.
std::optional<IPv4Address> addressOption(const DHCPPacket& packet, std::uint8_t code) {
    const auto data = packet.option(code);
    if (!data) {
        return std::nullopt;
    }
    return IPv4Address::fromBytes(*data);
}

} // namespace

PacketSummary::PacketSummary(const DHCPPacket& packet, std::optional<std::string> interface)
    : type(typeOf(packet)), mac(packet.mac()), xid(packet.xid),
      hostname(printableOption(packet, OptionCode::hostname)),
      vendorClass(printableOption(packet, OptionCode::vendorClass)), clientID(packet.clientID()),
      requestedIP(addressOption(packet, OptionCode::requestedIP)),
      serverID(addressOption(packet, OptionCode::serverID)), ciaddr(packet.ciaddr),
      interface(std::move(interface)) {}

} // namespace corvane
