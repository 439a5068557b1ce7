#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

Bytes concat(std::initializer_list<Bytes> pieces) {
    Bytes joined;
    for (const auto& piece : pieces) {
        joined.insert(joined.end(), piece.begin(), piece.end());
    }
    return joined;
}

Reply replyTo(const ClientPacket& packet, ServerConfig config = testConfig(),
              const LeaseTable& table = {}) {
    const auto decision = decide(packet, table, std::move(config));
    const auto* reply = replyOf(decision);
    return reply != nullptr ? *reply : Reply{};
}

ClientPacket rebootRequest() {
    return ClientPacket(DHCPMessageType::request).requesting(lan(100));
}

std::vector<std::uint8_t> optionCodes(const DHCPPacket& packet) {
    std::vector<std::uint8_t> codes;
    for (const auto& field : packet.options) {
        codes.push_back(field.code);
    }
    return codes;
}

TEST(ReplyOptions, AnOfferGoesOutFieldByFieldInWireOrder) {
    const auto offer = replyTo(ClientPacket(DHCPMessageType::discover).edited([](auto& packet) {
        packet.flags = 0x8000;
        packet.hops = 1;
        packet.secs = 7;
    }));
    const auto expected = concat({
        {2, 1, 6, 0},                         // BOOTREPLY, Ethernet, hlen 6, hops 0
        {0x22, 0x5e, 0xf4, 0x7f},             // xid echoed
        {0, 0},                               // secs 0
        {0x80, 0x00},                         // flags echoed
        {0, 0, 0, 0},                         // ciaddr: only an ACK echoes it
        {192, 168, 2, 100},                   // yiaddr
        {0, 0, 0, 0},                         // siaddr
        {0, 0, 0, 0},                         // giaddr echoed
        {0x02, 0x00, 0x5e, 0x00, 0x00, 0xc1}, // chaddr echoed
        Bytes(10 + 192, 0),                   // chaddr padding, sname and file
        {99, 130, 83, 99},                    // magic cookie
        {53, 1, 2},                           // OFFER
        {54, 4, 192, 168, 2, 1},              // server identifier
        {51, 4, 0, 0, 0x0e, 0x10},            // lease 3600
        {58, 4, 0, 0, 0x07, 0x08},            // T1 1800
        {59, 4, 0, 0, 0x0c, 0x4e},            // T2 3150
        {1, 4, 255, 255, 255, 0},             // subnet mask
        {28, 4, 192, 168, 2, 255},            // broadcast address
        {3, 4, 192, 168, 2, 1},               // router
        {6, 8, 192, 168, 2, 1, 9, 9, 9, 9},   // DNS servers in order
        {255},                                // end
        Bytes(4, 0),                          // zeros up to the 300-byte minimum
    });
    EXPECT_EQ(offer.packet.serialize(DHCPPacket::minimumReplyLength), expected);
}

// RFC 2131 table 3 and section 4.1: only an ACK echoes ciaddr, a client with an address hears
// unicast, and a NAK is broadcast since the client may hold no usable address.
TEST(ReplyOptions, RoutingAndOptionsFollowTheMessage) {
    const auto current = lan(103);
    const auto request = ClientPacket(DHCPMessageType::request).from(current);
    const auto lease = [](const MACAddress& mac) {
        return LeaseTable({leaseOf(mac, 103, State::bound, 10s)}, {});
    };
    struct Case {
        const char* rule;
        ClientPacket packet;
        LeaseTable table;
        DHCPMessageType type;
        IPv4Address ip;
        ReplyDestination destination;
        IPv4Address ciaddr;
        std::vector<std::uint8_t> options;
    };
    const auto unicast = ReplyDestination::unicast;
    const auto zero = IPv4Address::zero;
    const auto none = LeaseTable();
    const std::vector<std::uint8_t> lent = {53, 54, 51, 58, 59, 1, 28, 3, 6};
    const std::vector<std::uint8_t> informed = {53, 54, 1, 28, 3, 6};
    const std::vector<std::uint8_t> refused = {53, 54, 56};
    const Case cases[] = {
        {"an offer to a client that knows its address",
         ClientPacket(DHCPMessageType::discover).from(lan(104)), none, DHCPMessageType::offer,
         lan(100), unicast(lan(104)), zero, lent},
        {"a renewal", request, lease(client), DHCPMessageType::ack, current, unicast(current),
         current, lent},
        {"an answer to INFORM", ClientPacket(DHCPMessageType::inform).from(lan(50)), none,
         DHCPMessageType::ack, lan(50), unicast(lan(50)), lan(50), informed},
        {"a refused renewal", request, lease(other), DHCPMessageType::nak, current,
         ReplyDestination::broadcast(), zero, refused},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.rule);
        const auto reply = replyTo(item.packet, testConfig(), item.table);
        EXPECT_EQ(reply.type, item.type);
        EXPECT_EQ(reply.ip, item.ip);
        EXPECT_EQ(reply.mac, client);
        EXPECT_EQ(reply.destination, item.destination);
        EXPECT_EQ(reply.packet.ciaddr, item.ciaddr);
        EXPECT_EQ(optionCodes(reply.packet), item.options);
    }
}

// Router and DNS go out only when configured, the APC cookie only to vendor classes starting
// with "APC" (case matters), and whatever goes out keeps the one order.
TEST(ReplyOptions, OptionalOptionsKeepTheirPlaceInTheOrder) {
    auto bare = testConfig();
    bare.router.reset();
    bare.dns.clear();
    EXPECT_EQ(optionCodes(replyTo(rebootRequest(), bare).packet),
              (std::vector<std::uint8_t>{53, 54, 51, 58, 59, 1, 28}));
    const Bytes cookie(Responder::apcCookie.begin(), Responder::apcCookie.end());
    for (const auto& [vendor, apc] :
         {std::pair{"APC-UPS", true}, {"apc-ups", false}, {"MyAPC", false}}) {
        const auto ack = replyTo(rebootRequest().vendor(vendor));
        std::vector<std::uint8_t> codes = {53, 54, 51, 58, 59, 1, 28, 3, 6};
        if (apc) {
            codes.push_back(43);
        }
        EXPECT_EQ(optionCodes(ack.packet), codes) << vendor;
        EXPECT_EQ(ack.packet.option(43), apc ? std::optional(cookie) : std::nullopt) << vendor;
    }
}

} // namespace
} // namespace corvane
