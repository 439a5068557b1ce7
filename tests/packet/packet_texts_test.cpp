#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/address/address_json.hpp"
#include "core/packet/dhcp_packet.hpp"

namespace corvane {
namespace {

using ::testing::ThrowsMessage;

TEST(PacketErrorText, EachCaseDescribesItself) {
    EXPECT_EQ(PacketError::tooShort(239).description(), "too short (239 bytes)");
    EXPECT_EQ(PacketError::optionOverrun(254).description(), "option 254 runs past the end");
    EXPECT_EQ(PacketError::badMagicCookie().description(), "bad magic cookie");
}

TEST(DHCPMessageTypeText, RawValuesNamesAndJSON) {
    struct Case {
        std::uint8_t raw;
        DHCPMessageType type;
        const char* name;
    };
    const Case cases[] = {
        {1, DHCPMessageType::discover, "DISCOVER"}, {2, DHCPMessageType::offer, "OFFER"},
        {3, DHCPMessageType::request, "REQUEST"},   {4, DHCPMessageType::decline, "DECLINE"},
        {5, DHCPMessageType::ack, "ACK"},           {6, DHCPMessageType::nak, "NAK"},
        {7, DHCPMessageType::release, "RELEASE"},   {8, DHCPMessageType::inform, "INFORM"},
    };
    for (const auto& [raw, type, name] : cases) {
        EXPECT_EQ(dhcpMessageType(raw), type) << name;
        EXPECT_EQ(description(type), name);
        const nlohmann::json document = type;
        EXPECT_EQ(document.dump(), std::to_string(raw));
        EXPECT_EQ(document.get<DHCPMessageType>(), type) << name;
    }
    for (const std::uint8_t raw : {0, 9, 255}) {
        EXPECT_FALSE(dhcpMessageType(raw)) << int{raw};
    }
}

TEST(DHCPMessageTypeText, JSONRefusesAnythingButOneToEight) {
    for (const auto* text : {"0", "9", "257", "-1", "3.5", "\"DISCOVER\"", "null"}) {
        EXPECT_THAT([&] { (void)nlohmann::json::parse(text).get<DHCPMessageType>(); },
                    ThrowsMessage<DecodingError>(std::string("Not a DHCP message type: ") + text));
    }
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
        {"empty input", {}, 64, ""},
        {"control byte escaped", {'c', 'a', 'm', 0x00, '1'}, 64, "cam\\x001"},
        {"space and tilde kept, DEL and high bytes escaped",
         {' ', '~', 0x7F, 0xFF, 0x1F},
         64,
         " ~\\x7f\\xff\\x1f"},
        {"backslash is printable", {'\\', 'x'}, 64, "\\x"},
        {"cut at the limit", letters, 64, std::string(64, 'q')},
        {"escape that would cross the limit is dropped whole", withTail(62, 0x07), 64,
         std::string(62, 'q')},
        {"escape that exactly fits is kept", withTail(60, 0x07), 64,
         std::string(60, 'q') + "\\x07"},
        {"nothing after a dropped escape", {0x01, 'a'}, 3, ""},
        {"zero limit", {'a'}, 0, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(DHCPPacket::printable(c.bytes, c.limit), c.shown) << c.rule;
    }
}

TEST(PrintableText, HostnameAndVendorClassUseLimit64) {
    DHCPPacket packet;
    packet.setOption(12, Bytes(100, 'h'));
    packet.setOption(60, {'M', 'S', 'F', 'T', ' ', '5', '.', '0', 0x00});
    EXPECT_EQ(packet.hostname(), std::string(64, 'h'));
    EXPECT_EQ(packet.vendorClass(), "MSFT 5.0\\x00");
}

} // namespace
} // namespace corvane
