#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "core/packet/dhcp_packet.hpp"

namespace {

using corvane::DHCPPacket;
using corvane::PacketError;

[[noreturn]] void fail(const char* broken) {
    std::fprintf(stderr, "packet_parse_fuzz: %s\n", broken);
    std::abort();
}

// Reads everything the responder and the event summaries read, and checks the promises
// those readers rely on.
void readEveryAccessor(const DHCPPacket& packet) {
    const auto type = packet.messageType();
    if (type && corvane::description(*type).empty()) {
        fail("a message type has no name");
    }
    if (const auto mac = packet.mac(); mac && packet.hlen != 6) {
        fail("mac() answered for a hardware length other than 6");
    }
    for (const auto& text : {packet.hostname(), packet.vendorClass()}) {
        if (text && text->size() > 64) {
            fail("a printable option exceeded 64 characters");
        }
    }
    if (const auto clientID = packet.clientID()) {
        const auto data = packet.option(61);
        if (!data || clientID->size() != (data->empty() ? 0 : data->size() * 3 - 1)) {
            fail("clientID() does not show two digits per byte");
        }
    }
    (void)packet.requestedIP();
    (void)packet.serverID();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto first = DHCPPacket::parse(std::span(data, size));
    if (const auto* error = std::get_if<PacketError>(&first)) {
        if (error->description().empty()) {
            fail("a parse error has no description");
        }
        return 0;
    }
    const auto& packet = std::get<DHCPPacket>(first);
    readEveryAccessor(packet);

    for (const std::size_t minimumLength : {std::size_t{0}, DHCPPacket::minimumReplyLength}) {
        const auto wire = packet.serialize(minimumLength);
        if (wire.size() < minimumLength) {
            fail("serialize() came out shorter than asked");
        }
        const auto second = DHCPPacket::parse(wire);
        const auto* again = std::get_if<DHCPPacket>(&second);
        if (again == nullptr) {
            fail("a serialized packet no longer parses");
        }
        if (!(*again == packet)) {
            fail("parse(serialize(packet)) differs from packet");
        }
    }
    return 0;
}
