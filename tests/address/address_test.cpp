#include <gtest/gtest.h>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/address/subnet.hpp"

namespace corvane {
namespace {

TEST(IPv4AddressText, AcceptsOnlyStrictDottedQuads) {
    const std::pair<const char*, std::uint32_t> valid[] = {
        {"1.2.3.4", 0x01020304u}, {"001.002.003.004", 0x01020304u}, {"010.0.0.1", 0x0A000001u},
        {"0.0.0.0", 0u},          {"255.255.255.255", 0xFFFFFFFFu},
    };
    for (const auto& [text, value] : valid) {
        EXPECT_EQ(IPv4Address::parse(text), IPv4Address(value)) << text;
    }
    for (const char* bad :
         {"1.2.3", "1.2.3.4.5", "1..3.4", "+1.2.3.4", "1.2.3.0x4", "1.2.3.1000", "1.2.3.0255",
          "1.2.3.256", " 1.2.3.4", "1.2.3.4 ", "1.2.3.4.", "", "1.2.3.\xd9\xa4"}) {
        EXPECT_FALSE(IPv4Address::parse(bad)) << bad;
    }
    EXPECT_EQ(IPv4Address(0x0A000001u).description(), "10.0.0.1");
}

TEST(MACAddressText, AcceptsSixHexPairsOfEitherCaseAndPrintsLowerCase) {
    EXPECT_EQ(MACAddress::parse("00:1A:2b:3c:4d:5e")->description(), "00:1a:2b:3c:4d:5e");
    for (const char* bad : {"00-1a-2b-3c-4d-5e", "0:1a:2b:3c:4d:5e", "00:1a:2b:3c:4d:5e:",
                            "00:1a:2b:3c:4d", "00:1a:2b:3c:4d:5g", "001a.2b3c.4d5e", ""}) {
        EXPECT_FALSE(MACAddress::parse(bad)) << bad;
    }
}

// Addresses from packet bytes are read through the packet's accessors (tests/packet), and
// addresses as JSON text through the configuration and lease decoders.
TEST(SubnetText, ParsesCIDRKeepingTheAddressAndDropsEmptyPieces) {
    const std::pair<const char*, int> valid[] = {
        {"192.168.2.1/24", 24},
        {"10.0.0.1//24", 24},
        {"0.0.0.0/0", 0},
        {"1.2.3.4/32", 32},
    };
    for (const auto& [text, prefix] : valid) {
        const auto subnet = Subnet::parse(text);
        ASSERT_TRUE(subnet) << text;
        EXPECT_EQ(subnet->prefixLength, prefix) << text;
    }
    for (const char* bad : {"192.168.2.1/33", "192.168.2.1/-1", "192.168.2.1/", "192.168.2.1",
                            "1.2.3/8", "1.2.3.4/8/9", "1.2.3.4/ 8"}) {
        EXPECT_FALSE(Subnet::parse(bad)) << bad;
    }
    EXPECT_EQ(Subnet::parse("10.0.0.5/24"), (Subnet{IPv4Address(10, 0, 0, 5), 24}));
}

TEST(SubnetArithmetic, MaskNetworkBroadcastAtEveryBoundary) {
    struct Case {
        const char *cidr, *mask, *network, *broadcast, *printed;
    };
    const Case cases[] = {
        {"192.168.2.1/24", "255.255.255.0", "192.168.2.0", "192.168.2.255", "192.168.2.0/24"},
        {"10.1.2.3/0", "0.0.0.0", "0.0.0.0", "255.255.255.255", "0.0.0.0/0"},
        {"10.1.2.3/32", "255.255.255.255", "10.1.2.3", "10.1.2.3", "10.1.2.3/32"},
        {"172.16.5.9/12", "255.240.0.0", "172.16.0.0", "172.31.255.255", "172.16.0.0/12"},
    };
    for (const auto& [cidr, mask, network, broadcast, printed] : cases) {
        const auto subnet = *Subnet::parse(cidr);
        const auto mine = subnet.mask().description() + " " + subnet.network().description() + " " +
                          subnet.broadcast().description() + " " + subnet.description();
        EXPECT_EQ(mine, std::string(mask) + " " + network + " " + broadcast + " " + printed);
        EXPECT_EQ(Subnet::prefixLengthOfMask(subnet.mask()), subnet.prefixLength) << cidr;
    }
    EXPECT_FALSE(Subnet::prefixLengthOfMask(IPv4Address(255, 255, 0, 255)));
    EXPECT_FALSE(Subnet::prefixLengthOfMask(IPv4Address(0, 0, 0, 255)));
}

TEST(SubnetArithmetic, ContainsAndOverlapsByTheShorterPrefix) {
    const auto subnet = [](const char* cidr) { return *Subnet::parse(cidr); };
    EXPECT_TRUE(subnet("0.0.0.0/0").contains(IPv4Address::broadcast));
    EXPECT_TRUE(subnet("10.1.2.0/24").contains(IPv4Address(10, 1, 2, 200)));
    EXPECT_FALSE(subnet("10.1.2.0/24").contains(IPv4Address(10, 1, 3, 0)));
    EXPECT_TRUE(subnet("10.0.0.0/8").overlaps(subnet("10.1.2.0/24")));
    EXPECT_FALSE(subnet("10.0.0.0/24").overlaps(subnet("10.0.1.0/24")));
}

} // namespace
} // namespace corvane
