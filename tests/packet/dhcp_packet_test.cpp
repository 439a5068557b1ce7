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
const Bytes cookie = {99, 130, 83, 99};

// A fresh request's header from `clientMAC`: BOOTREQUEST, Ethernet, hlen 6, no hops, the
// xid, zero secs, flags and addresses, the MAC padded to 16 bytes, no server name or file.
Bytes requestHeader(const Bytes& xid) {
    return concat(
        {{0x01, 0x01, 0x06, 0x00}, xid, zeros(4 + 16), clientMAC, zeros(10 + 192), cookie});
}

// A DISCOVER as busybox udhcpc 1.35 sent it (-x hostname:corvane-camera -V "acme-camera 2.1").
const Bytes udhcpcDiscoverWire = concat({
    requestHeader({0x22, 0x5e, 0xf4, 0x7f}),
    {53, 1, 1},                                  // message type: DISCOVER
    {57, 2, 0x02, 0x40},                         // maximum message size: 576
    {55, 7, 1, 3, 6, 12, 15, 28, 42},            // parameter request list
    concat({{12, 14}, text("corvane-camera")}),  // host name
    concat({{60, 15}, text("acme-camera 2.1")}), // vendor class
    concat({{61, 7, 0x01}, clientMAC}),          // client id: hardware type 1 and the MAC
    {255, 0},                                    // end, pad to 300 bytes
});

// An INIT-REBOOT REQUEST as ISC dhclient 4.4.3 sent it for a remembered lease.
const Bytes dhclientRequestWire = concat({
    requestHeader({0x11, 0x31, 0x35, 0x3c}),
    {53, 1, 3},                                                 // message type: REQUEST
    {50, 4, 10, 77, 0, 60},                                     // requested address 10.77.0.60
    concat({{12, 2}, text("vm")}),                              // host name
    {55, 13, 1, 28, 2, 3, 15, 6, 119, 12, 44, 47, 26, 121, 42}, // parameter request list
    {255},                                                      // end
    zeros(31),                                                  // pad to 300 bytes
});

// A request from `clientMAC` as an object.
DHCPPacket requestWith(std::vector<DHCPOptionField> options, std::uint32_t xid = 0) {
    DHCPPacket packet;
    packet.xid = xid;
    packet.chaddr = concat({clientMAC, zeros(10)});
    packet.options = std::move(options);
    return packet;
}

const DHCPPacket udhcpcDiscover = requestWith({{53, {1}},
                                               {57, {0x02, 0x40}},
                                               {55, {1, 3, 6, 12, 15, 28, 42}},
                                               {12, text("corvane-camera")},
                                               {60, text("acme-camera 2.1")},
                                               {61, concat({{0x01}, clientMAC})}},
                                              0x225ef47f);

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
        {"udhcpc DISCOVER", udhcpcDiscoverWire, udhcpcDiscover, DHCPMessageType::discover,
         "corvane-camera", "acme-camera 2.1", "01:7e:cb:25:98:0c:76", std::nullopt},
        {"dhclient REQUEST", dhclientRequestWire,
         requestWith({{53, {3}},
                      {50, {10, 77, 0, 60}},
                      {12, text("vm")},
                      {55, {1, 28, 2, 3, 15, 6, 119, 12, 44, 47, 26, 121, 42}}},
                     0x1131353c),
         DHCPMessageType::request, "vm", std::nullopt, std::nullopt, IPv4Address(10, 77, 0, 60)},
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

Bytes datagram(std::initializer_list<Bytes> options) {
    return concat({zeros(236), cookie, concat(options)});
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
        {"239 bytes are too short", zeros(239), PacketError::tooShort(239)},
        {"240 bytes with a good cookie carry no options", datagram({}), Options{}},
        {"cookie must be exact", concat({zeros(236), {99, 130, 83, 98}, {255}}),
         PacketError::badMagicCookie()},
        {"end stops the walk", datagram({{53, 1, 3, 255}}), Options{{53, {3}}}},
        {"pads are skipped, not kept", datagram({{0, 0, 53, 1, 3, 0, 12, 1, 'a', 0}}),
         Options{{53, {3}}, {12, {'a'}}}},
        {"bytes after end are ignored even if malformed", datagram({{53, 1, 1, 255, 12, 200, 1}}),
         Options{{53, {1}}}},
        {"length running past the end", datagram({{12, 10, 'c', 'a', 'm', '1'}}),
         PacketError::optionOverrun(12)},
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

TEST(DHCPPacketAccessors, MalformedFieldsGiveNoValue) {
    EXPECT_FALSE(requestWith({{53, {1, 1}}}).messageType()) << "two-byte message type";
    EXPECT_FALSE(requestWith({{53, {9}}}).messageType()) << "message type 9";
    EXPECT_EQ(requestWith({{53, {8}}}).messageType(), DHCPMessageType::inform);
    EXPECT_EQ(requestWith({{53, {7}}, {53, {1}}}).messageType(), DHCPMessageType::release)
        << "the first of duplicates wins";
    EXPECT_FALSE(requestWith({{50, {10, 0, 0}}}).requestedIP()) << "three-byte address";
    EXPECT_FALSE(requestWith({{54, {10, 0, 0, 1, 5}}}).serverID()) << "five-byte address";
    // A MAC only for six-byte hardware addresses, and a client id of any length, are
    // packet_parse_fuzz's properties.
}

// Padding up to the minimum is checked by the golden packets above.
TEST(DHCPPacketSerialize, HeaderFieldsInNetworkOrderAndChaddrCutOrPadded) {
    DHCPPacket packet{.op = 2,
                      .xid = 0x01020304,
                      .secs = 0x0506,
                      .flags = 0x8000,
                      .ciaddr = IPv4Address(10, 0, 0, 1),
                      .yiaddr = IPv4Address(10, 0, 0, 2),
                      .siaddr = IPv4Address(10, 0, 0, 3),
                      .giaddr = IPv4Address(10, 0, 0, 4),
                      .chaddr = concat({clientMAC, zeros(10)}),
                      .options = {}};
    const Bytes header = {2, 1, 6,  0, 1, 2, 3,  4, 5, 6, 0x80, 0, 10, 0,
                          0, 1, 10, 0, 0, 2, 10, 0, 0, 3, 10,   0, 0,  4};
    const Bytes tail = concat({zeros(192), cookie, {OptionCode::end}});
    EXPECT_EQ(packet.serialize(0), concat({header, packet.chaddr, tail}));
    EXPECT_EQ(packet.serialize(100), packet.serialize(0)) << "a minimum length never cuts";
    EXPECT_EQ(parsed(packet.serialize(0)), packet);
    packet.chaddr = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(packet.serialize(0), concat({header, packet.chaddr, zeros(10), tail}));
    packet.chaddr.resize(20);
    std::iota(packet.chaddr.begin(), packet.chaddr.end(), std::uint8_t{1});
    EXPECT_EQ(packet.serialize(0),
              concat({header, Bytes(packet.chaddr.begin(), packet.chaddr.begin() + 16), tail}));
}

TEST(PrintableText, EscapesAndLimits) {
    struct Case {
        const char* rule;
        Bytes bytes;
        std::size_t limit;
        std::string shown;
    };
    const Bytes letters(100, 'q');
    const auto withTail = [](std::size_t count, std::uint8_t tail) {
        Bytes bytes(count, 'q');
        bytes.push_back(tail);
        return bytes;
    };
    const Case cases[] = {
        {"control byte escaped", {'c', 'a', 'm', 0x00, '1'}, 64, "cam\\x001"},
        {"space and tilde kept, DEL and high bytes escaped",
         {' ', '~', 0x7F, 0xFF, 0x1F},
         64,
         " ~\\x7f\\xff\\x1f"},
        {"cut at the limit", letters, 64, std::string(64, 'q')},
        {"escape that would cross the limit is dropped whole", withTail(62, 0x07), 64,
         std::string(62, 'q')},
        {"escape that exactly fits is kept", withTail(60, 0x07), 64,
         std::string(60, 'q') + "\\x07"},
        {"nothing after a dropped escape", {0x01, 'a'}, 3, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(DHCPPacket::printable(c.bytes, c.limit), c.shown) << c.rule;
    }
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
