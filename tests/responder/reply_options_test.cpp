#include <gtest/gtest.h>

#include "tests/responder/client_packet.hpp"
#include "tests/responder/responder_test_support.hpp"

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

Reply replyTo(const ClientPacket& packet, ServerConfig config = testConfig()) {
    const auto decision = Responder(std::move(config)).decide(packet.wire(), contextOf({}));
    const auto* reply = replyOf(decision);
    return reply != nullptr ? *reply : Reply{};
}

ClientPacket rebootRequest() {
    return std::move(
        ClientPacket(DHCPMessageType::request, client).requesting(ip("192.168.2.100")));
}

TEST(ReplyOptions, AnOfferGoesOutFieldByFieldInWireOrder) {
    const auto offer =
        replyTo(ClientPacket(DHCPMessageType::discover, client).edited([](DHCPPacket& packet) {
            packet.flags = 0x8000;
            packet.hops = 1;
            packet.secs = 7;
        }));
    const auto chaddr = concat({{0x02, 0x00, 0x5e, 0x00, 0x00, 0xc1}, Bytes(10, 0)});
    const auto expected = concat({
        {2, 1, 6, 0},                       // BOOTREPLY, Ethernet, hlen 6, hops 0
        {0x22, 0x5e, 0xf4, 0x7f},           // xid echoed
        {0, 0},                             // secs 0
        {0x80, 0x00},                       // flags echoed
        {0, 0, 0, 0},                       // ciaddr: only an ACK echoes it
        {192, 168, 2, 100},                 // yiaddr
        {0, 0, 0, 0},                       // siaddr
        {0, 0, 0, 0},                       // giaddr echoed
        chaddr,                             // chaddr echoed
        Bytes(192, 0),                      // sname and file
        {99, 130, 83, 99},                  // magic cookie
        {53, 1, 2},                         // OFFER
        {54, 4, 192, 168, 2, 1},            // server identifier
        {51, 4, 0, 0, 0x0e, 0x10},          // lease 3600
        {58, 4, 0, 0, 0x07, 0x08},          // T1 1800
        {59, 4, 0, 0, 0x0c, 0x4e},          // T2 3150
        {1, 4, 255, 255, 255, 0},           // subnet mask
        {28, 4, 192, 168, 2, 255},          // broadcast address
        {3, 4, 192, 168, 2, 1},             // router
        {6, 8, 192, 168, 2, 1, 9, 9, 9, 9}, // DNS servers in order
        {255},                              // end
        Bytes(4, 0),                        // zeros up to the 300-byte minimum
    });
    EXPECT_EQ(offer.packet.serialize(DHCPPacket::minimumReplyLength), expected);
    EXPECT_EQ(offer.note, std::nullopt);
}

TEST(ReplyOptions, LeaseTimersAreHalfAndSevenEighths) {
    struct Case {
        std::uint32_t lease;
        std::uint32_t renewal;
        std::uint32_t rebinding;
        const char* note;
    };
    const Case cases[] = {
        {3600, 1800, 3150, "lease 1 h"},
        {1, 0, 0, "lease 1 s"},
        {86400, 43200, 75600, "lease 24 h"},
        {4294967295u, 2147483647u, 3758096383u, "lease 1193046 h 28 m"},
    };
    for (const auto& item : cases) {
        auto config = testConfig();
        config.leaseSeconds = item.lease;
        const auto ack = replyTo(rebootRequest(), config);
        EXPECT_EQ(ack.packet.option(51), bytesOf(item.lease)) << item.lease;
        EXPECT_EQ(ack.packet.option(58), bytesOf(item.renewal)) << item.lease;
        EXPECT_EQ(ack.packet.option(59), bytesOf(item.rebinding)) << item.lease;
        EXPECT_EQ(ack.note, item.note) << item.lease;
    }
}

TEST(ReplyOptions, RouterAndDNSOnlyWhenConfigured) {
    auto config = testConfig();
    config.router.reset();
    config.dns.clear();
    EXPECT_EQ(optionCodes(replyTo(rebootRequest(), config).packet),
              (std::vector<std::uint8_t>{53, 54, 51, 58, 59, 1, 28}));
}

TEST(ReplyOptions, TheAPCCookieGoesOnlyToVendorClassesStartingWithAPC) {
    struct Case {
        const char* vendor;
        std::optional<std::string> note;
    };
    const Case cases[] = {
        {"APC-UPS", "lease 1 h, +APC cookie"},
        {"APC", "lease 1 h, +APC cookie"},
        {"apc-ups", "lease 1 h"},
        {"MyAPC", "lease 1 h"},
    };
    for (const auto& item : cases) {
        const auto ack = replyTo(rebootRequest().vendor(item.vendor));
        EXPECT_EQ(ack.note, item.note) << item.vendor;
        const bool cookie = item.note->ends_with("+APC cookie");
        EXPECT_EQ(ack.packet.option(43), cookie ? std::optional(Bytes(Responder::apcCookie.begin(),
                                                                      Responder::apcCookie.end()))
                                                : std::nullopt)
            << item.vendor;
    }
}

} // namespace
} // namespace corvane
