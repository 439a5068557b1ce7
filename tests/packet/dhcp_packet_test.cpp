#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <numeric>
#include <string_view>

#include <gtest/gtest.h>

#include "core/packet/dhcp_packet.hpp"
#include "core/packet/option_code.hpp"

namespace corvane {
namespace {

Bytes concat(std::initializer_list<Bytes> pieces) {
    Bytes joined;
    for (const auto& piece : pieces) {
        joined.insert(joined.end(), piece.begin(), piece.end());
    }
    return joined;
}

Bytes zeros(std::size_t count) {
    return Bytes(count, 0);
}

Bytes text(std::string_view characters) {
    return Bytes(characters.begin(), characters.end());
}

const Bytes clientMAC = {0x7e, 0xcb, 0x25, 0x98, 0x0c, 0x76};

// A DISCOVER as busybox udhcpc 1.35 sent it (-x hostname:corvane-camera -V "acme-camera 2.1").
const Bytes udhcpcDiscoverWire = concat({
    {0x01},                                      // op: BOOTREQUEST
    {0x01},                                      // htype: Ethernet
    {0x06},                                      // hlen
    {0x00},                                      // hops
    {0x22, 0x5e, 0xf4, 0x7f},                    // xid
    {0x00, 0x00},                                // secs
    {0x00, 0x00},                                // flags: no broadcast bit
    zeros(16),                                   // ciaddr, yiaddr, siaddr, giaddr
    concat({clientMAC, zeros(10)}),              // chaddr
    zeros(192),                                  // sname and file
    {99, 130, 83, 99},                           // magic cookie
    {53, 1, 1},                                  // message type: DISCOVER
    {57, 2, 0x02, 0x40},                         // maximum message size: 576
    {55, 7, 1, 3, 6, 12, 15, 28, 42},            // parameter request list
    concat({{12, 14}, text("corvane-camera")}),  // host name
    concat({{60, 15}, text("acme-camera 2.1")}), // vendor class
    concat({{61, 7, 0x01}, clientMAC}),          // client id: hardware type 1 and the MAC
    {255},                                       // end
    {0},                                         // pad to 300 bytes
});

DHCPPacket udhcpcDiscoverObject() {
    DHCPPacket packet;
    packet.xid = 0x225ef47f;
    packet.chaddr = concat({clientMAC, zeros(10)});
    packet.options = {{53, {1}},
                      {57, {0x02, 0x40}},
                      {55, {1, 3, 6, 12, 15, 28, 42}},
                      {12, text("corvane-camera")},
                      {60, text("acme-camera 2.1")},
                      {61, concat({{0x01}, clientMAC})}};
    return packet;
}

// An INIT-REBOOT REQUEST as ISC dhclient 4.4.3 sent it for a remembered lease.
const Bytes dhclientRequestWire = concat({
    {0x01, 0x01, 0x06, 0x00},                                   // op, htype, hlen, hops
    {0x11, 0x31, 0x35, 0x3c},                                   // xid
    {0x00, 0x00, 0x00, 0x00},                                   // secs, flags
    zeros(16),                                                  // ciaddr, yiaddr, siaddr, giaddr
    concat({clientMAC, zeros(10)}),                             // chaddr
    zeros(192),                                                 // sname and file
    {99, 130, 83, 99},                                          // magic cookie
    {53, 1, 3},                                                 // message type: REQUEST
    {50, 4, 10, 77, 0, 60},                                     // requested address 10.77.0.60
    concat({{12, 2}, text("vm")}),                              // host name
    {55, 13, 1, 28, 2, 3, 15, 6, 119, 12, 44, 47, 26, 121, 42}, // parameter request list
    {255},                                                      // end
    zeros(31),                                                  // pad to 300 bytes
});

DHCPPacket dhclientRequestObject() {
    DHCPPacket packet;
    packet.xid = 0x1131353c;
    packet.chaddr = concat({clientMAC, zeros(10)});
    packet.options = {{53, {3}},
                      {50, {10, 77, 0, 60}},
                      {12, text("vm")},
                      {55, {1, 28, 2, 3, 15, 6, 119, 12, 44, 47, 26, 121, 42}}};
    return packet;
}

DHCPPacket parsed(const Bytes& datagram) {
    auto result = DHCPPacket::parse(datagram);
    if (const auto* error = std::get_if<PacketError>(&result)) {
        ADD_FAILURE() << "parse failed: " << error->description();
        return {};
    }
    return std::get<DHCPPacket>(result);
}

TEST(DHCPPacketGolden, RealClientPacketsMatchTheirObjectsBothWays) {
    struct Case {
        const char* name;
        Bytes wire;
        DHCPPacket object;
        DHCPMessageType type;
        std::optional<std::string> hostname, vendorClass, clientID;
        std::optional<IPv4Address> requestedIP;
    };
    const Case cases[] = {
        {"udhcpc DISCOVER", udhcpcDiscoverWire, udhcpcDiscoverObject(), DHCPMessageType::discover,
         "corvane-camera", "acme-camera 2.1", "01:7e:cb:25:98:0c:76", std::nullopt},
        {"dhclient REQUEST", dhclientRequestWire, dhclientRequestObject(), DHCPMessageType::request,
         "vm", std::nullopt, std::nullopt, IPv4Address(10, 77, 0, 60)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(c.wire.size(), 300u);
        const auto packet = parsed(c.wire);
        EXPECT_EQ(packet, c.object);
        EXPECT_EQ(c.object.serialize(DHCPPacket::minimumReplyLength), c.wire);
        EXPECT_EQ(packet.messageType(), c.type);
        EXPECT_EQ(packet.mac()->description(), "7e:cb:25:98:0c:76");
        EXPECT_EQ(packet.hostname(), c.hostname);
        EXPECT_EQ(packet.vendorClass(), c.vendorClass);
        EXPECT_EQ(packet.clientID(), c.clientID);
        EXPECT_EQ(packet.requestedIP(), c.requestedIP);
        EXPECT_EQ(packet.serverID(), std::nullopt);
    }
}

TEST(DHCPPacketGolden, EveryCapturedClientDatagramRoundTripsByteForByte) {
    int captures = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CORVANE_CLIENT_CAPTURES)) {
        if (entry.path().filename().string().starts_with("edge-")) {
            continue;
        }
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream file(entry.path(), std::ios::binary);
        const Bytes wire{std::istreambuf_iterator<char>(file), {}};
        const auto packet = parsed(wire);
        EXPECT_TRUE(packet.messageType().has_value());
        EXPECT_EQ(packet.serialize(wire.size()), wire);
        ++captures;
    }
    EXPECT_GE(captures, 6);
}

Bytes datagram(std::initializer_list<Bytes> options, std::size_t headerBytes = 236) {
    return concat({zeros(headerBytes), {99, 130, 83, 99}, concat(options)});
}

TEST(DHCPPacketParse, BoundariesAndOptionWalk) {
    using Options = std::vector<DHCPOptionField>;
    using Outcome = std::variant<Options, PacketError>;
    struct Case {
        const char* rule;
        Bytes wire;
        Outcome outcome;
    };
    const Case cases[] = {
        {"empty datagram is too short", {}, PacketError::tooShort(0)},
        {"239 bytes are too short", zeros(239), PacketError::tooShort(239)},
        {"240 bytes with a good cookie carry no options", datagram({}), Options{}},
        {"cookie must be exact", concat({zeros(236), {99, 130, 83, 98}, {255}}),
         PacketError::badMagicCookie()},
        {"end stops the walk", datagram({{53, 1, 3, 255}}), Options{{53, {3}}}},
        {"pads are skipped, not kept", datagram({{0, 0, 53, 1, 3, 0, 12, 1, 'a', 0}}),
         Options{{53, {3}}, {12, {'a'}}}},
        {"bytes after end are ignored even if malformed", datagram({{53, 1, 1, 255, 12, 200, 1}}),
         Options{{53, {1}}}},
        {"no end option is fine", datagram({{61, 2, 1, 2}}), Options{{61, {1, 2}}}},
        {"unknown codes and empty data pass through", datagram({{224, 0, 80, 0, 255}}),
         Options{{224, {}}, {80, {}}}},
        {"duplicates kept in arrival order", datagram({{51, 1, 7, 51, 1, 9}}),
         Options{{51, {7}}, {51, {9}}}},
        {"length running past the end", datagram({{12, 10, 'c', 'a', 'm', '1'}}),
         PacketError::optionOverrun(12)},
        {"lone code as the last byte", datagram({{53, 1, 1, 61}}), PacketError::optionOverrun(61)},
        {"length one past the end", datagram({{60, 3, 'a', 'b'}}), PacketError::optionOverrun(60)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule);
        const auto result = DHCPPacket::parse(c.wire);
        if (const auto* error = std::get_if<PacketError>(&c.outcome)) {
            ASSERT_TRUE(std::holds_alternative<PacketError>(result));
            EXPECT_EQ(std::get<PacketError>(result), *error);
        } else {
            ASSERT_TRUE(std::holds_alternative<DHCPPacket>(result));
            EXPECT_EQ(std::get<DHCPPacket>(result).options, std::get<Options>(c.outcome));
        }
    }
}

TEST(DHCPPacketParse, KeepsAllSixteenChaddrBytesAndSkipsServerNameAndFile) {
    auto wire = udhcpcDiscoverWire;
    std::fill_n(wire.begin() + 28, 16, 0xAB);
    std::fill_n(wire.begin() + 44, 192, 'x');
    const auto packet = parsed(wire);
    EXPECT_EQ(packet.chaddr, Bytes(16, 0xAB));
    EXPECT_EQ(packet.serialize(0)[44], 0);
}

DHCPPacket withOptions(std::vector<DHCPOptionField> options) {
    DHCPPacket packet;
    packet.options = std::move(options);
    return packet;
}

TEST(DHCPPacketAccessors, MalformedOptionsGiveNoValue) {
    EXPECT_FALSE(withOptions({{53, {1, 1}}}).messageType()) << "two-byte message type";
    EXPECT_FALSE(withOptions({{53, {}}}).messageType()) << "empty message type";
    EXPECT_FALSE(withOptions({{53, {9}}}).messageType()) << "message type 9";
    EXPECT_EQ(withOptions({{53, {8}}}).messageType(), DHCPMessageType::inform);
    EXPECT_EQ(withOptions({{53, {7}}, {53, {1}}}).messageType(), DHCPMessageType::release)
        << "the first of duplicates wins";
    EXPECT_FALSE(withOptions({{50, {10, 0, 0}}}).requestedIP()) << "three-byte address";
    EXPECT_FALSE(withOptions({{54, {10, 0, 0, 1, 5}}}).serverID()) << "five-byte address";
    EXPECT_EQ(withOptions({{54, {10, 0, 0, 1}}}).serverID(), IPv4Address(10, 0, 0, 1));
    EXPECT_EQ(withOptions({{61, {}}}).clientID(), "") << "empty client id";
    EXPECT_EQ(withOptions({{61, Bytes(40, 0xFF)}}).clientID()->size(), 40u * 3 - 1)
        << "client id has no length limit";
}

TEST(DHCPPacketAccessors, MACOnlyForSixByteHardwareAddresses) {
    DHCPPacket packet = udhcpcDiscoverObject();
    EXPECT_EQ(packet.mac()->description(), "7e:cb:25:98:0c:76");
    packet.hlen = 16;
    EXPECT_FALSE(packet.mac());
    packet.hlen = 6;
    packet.chaddr = {1, 2, 3, 4, 5};
    EXPECT_FALSE(packet.mac());
}

TEST(DHCPPacketSerialize, DefaultPacketEndsAndPadsToTheMinimum) {
    const DHCPPacket packet;
    const auto bare = packet.serialize(0);
    ASSERT_EQ(bare.size(), 241u);
    EXPECT_EQ(bare[240], OptionCode::end);
    EXPECT_EQ((Bytes(bare.begin(), bare.begin() + 4)), (Bytes{1, 1, 6, 0}));
    EXPECT_EQ((Bytes(bare.begin() + 236, bare.begin() + 240)), (Bytes{99, 130, 83, 99}));
    EXPECT_TRUE(std::all_of(bare.begin() + 4, bare.begin() + 236, [](auto b) { return b == 0; }));

    const auto reply = packet.serialize(DHCPPacket::minimumReplyLength);
    ASSERT_EQ(reply.size(), 300u);
    EXPECT_EQ(reply[240], OptionCode::end);
    EXPECT_TRUE(std::all_of(reply.begin() + 241, reply.end(), [](auto b) { return b == 0; }));

    EXPECT_EQ(udhcpcDiscoverObject().serialize(100).size(), 299u);
}

TEST(DHCPPacketSerialize, HeaderFieldsInNetworkOrderAndChaddrCutOrPadded) {
    DHCPPacket packet;
    packet.op = 2;
    packet.xid = 0x01020304;
    packet.secs = 0x0506;
    packet.flags = 0x8000;
    packet.ciaddr = IPv4Address(10, 0, 0, 1);
    packet.yiaddr = IPv4Address(10, 0, 0, 2);
    packet.siaddr = IPv4Address(10, 0, 0, 3);
    packet.giaddr = IPv4Address(10, 0, 0, 4);
    packet.chaddr = clientMAC;
    const auto wire = packet.serialize(0);
    EXPECT_EQ((Bytes(wire.begin(), wire.begin() + 28)),
              (Bytes{2, 1, 6,  0, 1, 2, 3,  4, 5, 6, 0x80, 0, 10, 0,
                     0, 1, 10, 0, 0, 2, 10, 0, 0, 3, 10,   0, 0,  4}));
    EXPECT_EQ((Bytes(wire.begin() + 28, wire.begin() + 44)), concat({clientMAC, zeros(10)}));

    Bytes twenty(20);
    std::iota(twenty.begin(), twenty.end(), std::uint8_t{1});
    packet.chaddr = twenty;
    const auto cut = packet.serialize(0);
    EXPECT_EQ(cut.size(), 241u);
    EXPECT_EQ((Bytes(cut.begin() + 28, cut.begin() + 44)),
              Bytes(twenty.begin(), twenty.begin() + 16));
}

TEST(DHCPPacketSerialize, WritesListedOptionsAsTheyStand) {
    DHCPPacket packet;
    packet.options = {{OptionCode::pad, {7}}, {OptionCode::end, {}}, {200, Bytes(255, 'z')}};
    const auto wire = packet.serialize(0);
    EXPECT_EQ((Bytes(wire.begin() + 240, wire.begin() + 246)), (Bytes{0, 1, 7, 255, 0, 200}));
    EXPECT_EQ(wire[246], 255);
    EXPECT_EQ(wire.size(), 240u + 3 + 2 + 2 + 255 + 1);
}

TEST(DHCPPacketSetOption, ReplacesInPlaceOrAppends) {
    DHCPPacket packet;
    packet.setOption(OptionCode::messageType, {2});
    packet.setOption(OptionCode::serverID, {10, 0, 0, 1});
    packet.setOption(OptionCode::leaseTime, {0, 0, 0x0E, 0x10});
    packet.options.push_back({OptionCode::leaseTime, {9}});
    packet.setOption(OptionCode::leaseTime, {0, 1, 0x51, 0x80});
    packet.setOption(OptionCode::subnetMask, {255, 255, 255, 0});
    const std::vector<DHCPOptionField> expected = {{53, {2}},
                                                   {54, {10, 0, 0, 1}},
                                                   {51, {0, 1, 0x51, 0x80}},
                                                   {51, {9}},
                                                   {1, {255, 255, 255, 0}}};
    EXPECT_EQ(packet.options, expected);
    EXPECT_EQ(packet.option(OptionCode::leaseTime), (Bytes{0, 1, 0x51, 0x80}));
    EXPECT_EQ(packet.option(OptionCode::router), std::nullopt);
}

TEST(DHCPPacketSetOptionDeathTest, DataBeyond255BytesStopsTheProgram) {
    DHCPPacket packet;
    packet.setOption(OptionCode::message, Bytes(255, 'a'));
    EXPECT_DEATH(packet.setOption(OptionCode::message, Bytes(256, 'a')), "more than the 255");
    packet.options.push_back({OptionCode::hostname, Bytes(300, 'a')});
    EXPECT_DEATH((void)packet.serialize(0), "DHCP option 12 has 300 bytes");
}

} // namespace
} // namespace corvane
