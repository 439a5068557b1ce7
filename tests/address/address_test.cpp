#include <algorithm>
#include <unordered_set>

#include <gtest/gtest.h>

#include "core/address/address_json.hpp"
#include "core/address/big_endian.hpp"
#include "core/address/subnet.hpp"

namespace corvane {
namespace {

TEST(IPv4AddressText, AcceptsOnlyStrictDottedQuads) {
    struct Case {
        const char* text;
        std::optional<std::uint32_t> value;
    };
    const Case cases[] = {
        {"1.2.3.4", 0x01020304u},
        {"001.002.003.004", 0x01020304u},
        {"010.0.0.1", 0x0A000001u},
        {"255.255.255.255", 0xFFFFFFFFu},
        {"0.0.0.0", 0u},
        {"1.2.3", std::nullopt},
        {"1.2.3.4.5", std::nullopt},
        {"1..3.4", std::nullopt},
        {"+1.2.3.4", std::nullopt},
        {"1.2.3.0x4", std::nullopt},
        {"1.2.3.1000", std::nullopt},
        {"1.2.3.256", std::nullopt},
        {" 1.2.3.4", std::nullopt},
        {"1.2.3.4 ", std::nullopt},
        {"1.2.3.4.", std::nullopt},
        {"", std::nullopt},
        {"1.2.3.\xd9\xa4", std::nullopt},
    };
    for (const auto& [text, value] : cases) {
        const auto parsed = IPv4Address::parse(text);
        ASSERT_EQ(parsed.has_value(), value.has_value()) << text;
        if (value) {
            EXPECT_EQ(parsed->value(), *value) << text;
        }
    }
}

TEST(IPv4AddressText, PrintsWithoutPaddingAndParsesBack) {
    const IPv4Address address(0x0A000001u);
    EXPECT_EQ(address.description(), "10.0.0.1");
    EXPECT_EQ(IPv4Address::parse(address.description()), address);
    EXPECT_EQ(IPv4Address(192, 168, 2, 1).value(), 0xC0A80201u);
}

TEST(IPv4AddressBytes, FoldsExactlyFourBytes) {
    const std::uint8_t four[] = {10, 0, 0, 1};
    const std::uint8_t three[] = {10, 0, 0};
    const std::uint8_t five[] = {10, 0, 0, 1, 2};
    EXPECT_EQ(IPv4Address::fromBytes(four), IPv4Address(10, 0, 0, 1));
    EXPECT_FALSE(IPv4Address::fromBytes(three));
    EXPECT_FALSE(IPv4Address::fromBytes(five));
    EXPECT_EQ(IPv4Address(10, 0, 0, 1).bytes(), (std::array<std::uint8_t, 4>{10, 0, 0, 1}));
}

TEST(IPv4AddressOrder, IsNumeric) {
    std::vector<IPv4Address> addresses = {*IPv4Address::parse("10.0.1.0"),
                                          *IPv4Address::parse("10.0.0.10"),
                                          *IPv4Address::parse("10.0.0.9")};
    std::sort(addresses.begin(), addresses.end());
    EXPECT_EQ(addresses[0].description(), "10.0.0.9");
    EXPECT_EQ(addresses[1].description(), "10.0.0.10");
    EXPECT_EQ(addresses[2].description(), "10.0.1.0");
}

TEST(IPv4AddressKinds, LinkLocalIs169Dot254Only) {
    EXPECT_TRUE(IPv4Address::parse("169.254.3.4")->isLinkLocal());
    EXPECT_FALSE(IPv4Address::parse("169.255.0.1")->isLinkLocal());
    EXPECT_EQ(IPv4Address::loopback.description(), "127.0.0.1");
    EXPECT_EQ(IPv4Address::broadcast.description(), "255.255.255.255");
}

TEST(MACAddressText, AcceptsSixHexPairsAndPrintsLowerCase) {
    const auto parsed = MACAddress::parse("00:1A:2b:3c:4d:5e");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->description(), "00:1a:2b:3c:4d:5e");
    for (const char* bad : {"00-1a-2b-3c-4d-5e", "0:1a:2b:3c:4d:5e", "00:1a:2b:3c:4d:5e:",
                            "00:1a:2b:3c:4d", "00:1a:2b:3c:4d:5g", "001a.2b3c.4d5e", ""}) {
        EXPECT_FALSE(MACAddress::parse(bad)) << bad;
    }
}

TEST(MACAddressBytes, NeedsExactlySix) {
    const std::uint8_t five[] = {1, 2, 3, 4, 5};
    const std::uint8_t six[] = {1, 2, 3, 4, 5, 6};
    const std::uint8_t seven[] = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_FALSE(MACAddress::fromBytes(five));
    EXPECT_FALSE(MACAddress::fromBytes(seven));
    EXPECT_EQ(MACAddress::fromBytes(six)->description(), "01:02:03:04:05:06");
}

TEST(AddressHashing, EqualValuesHashAlike) {
    std::unordered_set<MACAddress> macs = {*MACAddress::parse("aa:bb:cc:dd:ee:ff"),
                                           *MACAddress::parse("AA:BB:CC:DD:EE:FF")};
    std::unordered_set<IPv4Address> ips = {IPv4Address(1, 2, 3, 4), IPv4Address(0x01020304u)};
    EXPECT_EQ(macs.size(), 1u);
    EXPECT_EQ(ips.size(), 1u);
}

TEST(AddressJSON, RoundTripsAsText) {
    const nlohmann::json ip = IPv4Address(10, 0, 0, 1);
    const nlohmann::json mac = *MACAddress::parse("00:1a:2b:3c:4d:5e");
    EXPECT_EQ(ip.dump(), "\"10.0.0.1\"");
    EXPECT_EQ(mac.dump(), "\"00:1a:2b:3c:4d:5e\"");
    EXPECT_EQ(ip.get<IPv4Address>(), IPv4Address(10, 0, 0, 1));
    EXPECT_EQ(mac.get<MACAddress>().description(), "00:1a:2b:3c:4d:5e");
}

TEST(AddressJSON, BadTextFailsWithItsOwnMessage) {
    try {
        (void)nlohmann::json("10.0.0.256").get<IPv4Address>();
        FAIL() << "decoded a bad address";
    } catch (const DecodingError& error) {
        EXPECT_STREQ(error.what(), "Not an IPv4 address: 10.0.0.256");
    }
    try {
        (void)nlohmann::json("zz:00:00:00:00:00").get<MACAddress>();
        FAIL() << "decoded a bad MAC";
    } catch (const DecodingError& error) {
        EXPECT_STREQ(error.what(), "Not a MAC address: zz:00:00:00:00:00");
    }
    EXPECT_THROW((void)nlohmann::json(42).get<IPv4Address>(), nlohmann::json::type_error);
}

TEST(SubnetText, ParsesCIDRAndDropsEmptyPieces) {
    struct Case {
        const char* text;
        bool parses;
        int prefix;
    };
    const Case cases[] = {
        {"192.168.2.1/24", true, 24}, {"10.0.0.1//24", true, 24},   {"10.0.0.1/24/", true, 24},
        {"0.0.0.0/0", true, 0},       {"1.2.3.4/32", true, 32},     {"1.2.3.4/+8", true, 8},
        {"192.168.2.1/33", false, 0}, {"192.168.2.1/-1", false, 0}, {"192.168.2.1/", false, 0},
        {"192.168.2.1", false, 0},    {"1.2.3/8", false, 0},        {"1.2.3.4/8/9", false, 0},
        {"1.2.3.4/ 8", false, 0},
    };
    for (const auto& [text, parses, prefix] : cases) {
        const auto subnet = Subnet::parse(text);
        ASSERT_EQ(subnet.has_value(), parses) << text;
        if (parses) {
            EXPECT_EQ(subnet->prefixLength, prefix) << text;
        }
    }
    EXPECT_EQ(Subnet::parse("10.0.0.5/24")->address.description(), "10.0.0.5");
}

TEST(SubnetArithmetic, MaskNetworkBroadcastAtEveryBoundary) {
    struct Case {
        const char* cidr;
        const char* mask;
        const char* network;
        const char* broadcast;
        const char* printed;
    };
    const Case cases[] = {
        {"192.168.2.1/24", "255.255.255.0", "192.168.2.0", "192.168.2.255", "192.168.2.0/24"},
        {"10.1.2.3/0", "0.0.0.0", "0.0.0.0", "255.255.255.255", "0.0.0.0/0"},
        {"10.1.2.3/32", "255.255.255.255", "10.1.2.3", "10.1.2.3", "10.1.2.3/32"},
        {"172.16.5.9/12", "255.240.0.0", "172.16.0.0", "172.31.255.255", "172.16.0.0/12"},
    };
    for (const auto& [cidr, mask, network, broadcast, printed] : cases) {
        const auto subnet = *Subnet::parse(cidr);
        EXPECT_EQ(subnet.mask().description(), mask) << cidr;
        EXPECT_EQ(subnet.network().description(), network) << cidr;
        EXPECT_EQ(subnet.broadcast().description(), broadcast) << cidr;
        EXPECT_EQ(subnet.description(), printed) << cidr;
    }
}

TEST(SubnetArithmetic, ContainsAndOverlaps) {
    const auto everything = *Subnet::parse("0.0.0.0/0");
    EXPECT_TRUE(everything.contains(IPv4Address::broadcast));
    EXPECT_TRUE(everything.contains(IPv4Address::zero));
    const auto wide = *Subnet::parse("10.0.0.0/8");
    const auto narrow = *Subnet::parse("10.1.2.0/24");
    EXPECT_TRUE(wide.overlaps(narrow));
    EXPECT_TRUE(narrow.overlaps(wide));
    EXPECT_FALSE(Subnet::parse("10.0.0.0/24")->overlaps(*Subnet::parse("10.0.1.0/24")));
    EXPECT_TRUE(narrow.contains(IPv4Address(10, 1, 2, 200)));
    EXPECT_FALSE(narrow.contains(IPv4Address(10, 1, 3, 0)));
}

TEST(SubnetEquality, KeepsTheAddressAsGiven) {
    EXPECT_NE(*Subnet::parse("10.0.0.5/24"), *Subnet::parse("10.0.0.0/24"));
    EXPECT_EQ(Subnet::parse("10.0.0.5/24")->network(), Subnet::parse("10.0.0.0/24")->network());
}

TEST(SubnetMask, PrefixLengthOnlyForContiguousMasks) {
    EXPECT_EQ(Subnet::prefixLengthOfMask(IPv4Address::zero), 0);
    EXPECT_EQ(Subnet::prefixLengthOfMask(IPv4Address(255, 255, 255, 0)), 24);
    EXPECT_EQ(Subnet::prefixLengthOfMask(IPv4Address::broadcast), 32);
    EXPECT_FALSE(Subnet::prefixLengthOfMask(IPv4Address(255, 255, 0, 255)));
    EXPECT_FALSE(Subnet::prefixLengthOfMask(IPv4Address(0, 0, 0, 255)));
}

TEST(BigEndianBytes, MostSignificantFirstAtTheIntegersWidth) {
    EXPECT_EQ(bigEndianBytes(std::uint16_t{0x1234}), (std::array<std::uint8_t, 2>{0x12, 0x34}));
    EXPECT_EQ(bigEndianBytes(std::uint32_t{3600}), (std::array<std::uint8_t, 4>{0, 0, 0x0E, 0x10}));
}

} // namespace
} // namespace corvane
