#include <algorithm>
#include <string>
#include <vector>

#include "core/address/big_endian.hpp"
#include "core/config/duration_text.hpp"
#include "core/packet/option_code.hpp"
#include "core/responder/reply_options.hpp"
#include "core/responder/responder.hpp"
#include "core/responder/responder_texts.hpp"
#include "core/responder/responder_worker.hpp"

namespace corvane {
namespace {

// RFC 2131 section 2: op 2 is BOOTREPLY.
constexpr std::uint8_t bootReply = 2;
// An option carries at most 255 bytes of data (RFC 2132 section 2).
constexpr std::size_t maximumOptionData = 255;

template <std::size_t Width> Bytes bytesOf(const std::array<std::uint8_t, Width>& bytes) {
    return Bytes(bytes.begin(), bytes.end());
}

Bytes addressList(const std::vector<IPv4Address>& addresses) {
    // Validation allows three DNS servers; an unchecked list must still give an encodable
    // option, so it stops at the last address that fits.
    const auto kept = std::min(addresses.size(), maximumOptionData / 4);
    Bytes data;
    data.reserve(kept * 4);
    for (std::size_t index = 0; index < kept; ++index) {
        const auto bytes = addresses[index].bytes();
        data.insert(data.end(), bytes.begin(), bytes.end());
    }
    return data;
}

std::optional<std::string> joinedNote(const std::vector<std::string>& parts) {
    if (parts.empty()) {
        return std::nullopt;
    }
    std::string joined = parts.front();
    for (std::size_t index = 1; index < parts.size(); ++index) {
        joined += responder_texts::notePartSeparator;
        joined += parts[index];
    }
    return joined;
}

} // namespace

DHCPPacket ResponderWorker::baseReply(DHCPMessageType type, IPv4Address yiaddr) const {
    DHCPPacket packet;
    packet.op = bootReply;
    packet.htype = packet_.htype;
    packet.hlen = packet_.hlen;
    packet.xid = packet_.xid;
    packet.flags = packet_.flags;
    packet.giaddr = packet_.giaddr;
    packet.chaddr = packet_.chaddr;
    // RFC 2131 table 3: only a DHCPACK echoes the client's ciaddr.
    packet.ciaddr = type == DHCPMessageType::ack ? packet_.ciaddr : IPv4Address::zero;
    packet.yiaddr = yiaddr;
    packet.setOption(OptionCode::messageType, {static_cast<std::uint8_t>(type)});
    packet.setOption(OptionCode::serverID, bytesOf(config_.serverIP.bytes()));
    return packet;
}

void ResponderWorker::reply(DHCPMessageType type, IPv4Address yiaddr, bool includeLease) {
    auto packet = baseReply(type, yiaddr);
    std::vector<std::string> noteParts;
    if (includeLease) {
        packet.setOption(OptionCode::leaseTime, bytesOf(bigEndianBytes(config_.leaseSeconds)));
        packet.setOption(OptionCode::renewalTime,
                         bytesOf(bigEndianBytes(config_.renewalSeconds())));
        packet.setOption(OptionCode::rebindingTime,
                         bytesOf(bigEndianBytes(config_.rebindingSeconds())));
        if (type == DHCPMessageType::ack) {
            noteParts.push_back(responder_texts::leaseNote(formatDuration(config_.leaseSeconds)));
        }
    }
    packet.setOption(OptionCode::subnetMask, bytesOf(config_.mask().bytes()));
    packet.setOption(OptionCode::broadcastAddress, bytesOf(config_.broadcastAddress().bytes()));
    if (config_.router) {
        packet.setOption(OptionCode::router, bytesOf(config_.router->bytes()));
    }
    if (!config_.dns.empty()) {
        packet.setOption(OptionCode::dns, addressList(config_.dns));
    }
    if (const auto vendor = packet_.vendorClass(); vendor && vendor->starts_with("APC")) {
        packet.setOption(OptionCode::vendorSpecific, bytesOf(Responder::apcCookie));
        noteParts.emplace_back(responder_texts::apcCookieNote);
    }
    for (const auto& option : addBootAndConfiguredOptions(packet, packet_, config_)) {
        note(ServerEvent::Info{responder_texts::optionLeftOut(option.code, option.limit)});
    }
    // A client with an address can hear unicast; one without may not (RFC 2131 4.1).
    const auto destination = packet_.ciaddr != IPv4Address::zero
                                 ? ReplyDestination::unicast(packet_.ciaddr)
                                 : ReplyDestination::broadcast();
    action_ =
        Reply{std::move(packet),    destination, type, includeLease ? yiaddr : packet_.ciaddr, mac_,
              joinedNote(noteParts)};
}

// RFC 2131 4.3.2: a DHCPNAK is broadcast, since the client may hold no usable address.
void ResponderWorker::nak(std::string_view reason) {
    auto packet = baseReply(DHCPMessageType::nak, IPv4Address::zero);
    const auto kept = std::min(reason.size(), maximumOptionData);
    packet.setOption(OptionCode::message, Bytes(reason.begin(), reason.begin() + kept));
    action_ = Reply{std::move(packet),
                    ReplyDestination::broadcast(),
                    DHCPMessageType::nak,
                    packet_.requestedIP().value_or(packet_.ciaddr),
                    mac_,
                    std::string(reason)};
}

} // namespace corvane
