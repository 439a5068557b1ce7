#include <gtest/gtest.h>

#include "core/presence/arp_probe.hpp"
#include "core/presence/prober.hpp"

namespace corvane {
namespace {

TEST(EchoRequest, LaysOutHeaderThenPayloadUnderTheInternetChecksum) {
    const std::pair<Bytes, std::uint16_t> checksums[] = {
        {{0x00, 0x01, 0xF2, 0x03, 0xF4, 0xF5, 0xF6, 0xF7}, 0x220D}, // RFC 1071 worked example
        {{0x01}, 0xFEFF},                   // an odd trailing byte is a high byte
        {{0xFF, 0xFF, 0xFF, 0xFF}, 0x0000}, // carries fold back in
    };
    for (const auto& [bytes, checksum] : checksums) {
        EXPECT_EQ(Prober::checksum(bytes), checksum) << ::testing::PrintToString(bytes);
    }
    const Bytes expected = {
        0x08, 0x00,                          // type 8 echo request, code 0
        0x49, 0x76,                          // checksum over the whole message
        0x12, 0x34,                          // identifier
        0x00, 0x01,                          // sequence
        'c',  'o',  'r', 'v', 'a', 'n', 'e', // payload, no terminator
    };
    EXPECT_EQ(Prober::echoRequest(0x1234, 1), expected);
    // A receiver sums the message including the checksum field and expects zero.
    EXPECT_EQ(Prober::checksum(Prober::echoRequest(0xFFFF, 0x8001)), 0);
}

Bytes echoMessage(std::uint8_t type, std::uint16_t identifier, std::size_t ipHeaderLength = 0) {
    Bytes datagram(ipHeaderLength, 0);
    if (ipHeaderLength > 0) {
        datagram[0] = static_cast<std::uint8_t>(0x40 | ipHeaderLength / 4);
    }
    auto message = Prober::echoRequest(identifier, 1);
    message[0] = type;
    datagram.insert(datagram.end(), message.begin(), message.end());
    return datagram;
}

TEST(EchoReplyRecognition, AcceptsOnlyWellFormedRepliesForUs) {
    const auto bare = echoMessage(0, 0x4242);
    struct Case {
        const char* rule;
        Bytes datagram;
        std::optional<std::uint16_t> identifier;
        bool accepted;
    };
    const Case cases[] = {
        {"datagram socket delivers the bare reply", bare, std::nullopt, true},
        {"raw socket prefixes an IPv4 header", echoMessage(0, 0x4242, 20), 0x4242, true},
        {"IPv4 options lengthen the header", echoMessage(0, 0x4242, 28), 0x4242, true},
        {"another program's identifier", echoMessage(0, 0x4242, 20), 0x4243, false},
        {"an echo request is not a reply", echoMessage(8, 0x4242, 20), 0x4242, false},
        {"an ICMP header cut short", Bytes(bare.begin(), bare.begin() + 7), std::nullopt, false},
        {"an IPv4 header length below the minimum", echoMessage(0, 0x4242, 16), std::nullopt,
         false},
    };
    for (const auto& [rule, datagram, identifier, accepted] : cases) {
        EXPECT_EQ(Prober::isEchoReply(datagram, identifier), accepted) << rule;
    }
}

// Our probe asks from 0.0.0.0, so it teaches no neighbour anything; of the ARP traffic a
// packet socket sees, only a message sent from the probed address is an answer.
TEST(ARPProbe, AsksWithoutASenderAddressAndTakesOnlyWhatTheAddressSaid) {
    const auto ours = *MACAddress::parse("02:00:00:00:00:01");
    const auto theirs = *MACAddress::parse("02:00:00:00:00:02");
    const IPv4Address probed(10, 77, 0, 99);
    const Bytes expected = {
        0x00, 0x01, 0x08, 0x00, 6,    4,    0x00, 0x01,         // Ethernet, IPv4, request
        0x02, 0x00, 0x00, 0x00, 0x00, 0x01, 0,    0,    0, 0,   // from us, from 0.0.0.0
        0,    0,    0,    0,    0,    0,    10,   77,   0, 99}; // for the probed address
    EXPECT_EQ(ARPProbe::request(ours, probed), expected);

    const auto message = [&](std::uint8_t operation, IPv4Address sender, MACAddress hardware) {
        auto bytes = ARPProbe::request(hardware, probed);
        bytes[7] = operation;
        const auto address = sender.bytes();
        std::copy(address.begin(), address.end(), bytes.begin() + 14);
        return bytes;
    };
    struct Case {
        const char* rule;
        Bytes message;
        std::optional<MACAddress> answer;
    };
    const Case cases[] = {
        {"a reply from the address", message(2, probed, theirs), theirs},
        {"a request the address sent itself", message(1, probed, theirs), theirs},
        {"another host's probe for the address", message(1, IPv4Address::zero, theirs), {}},
        {"another address's reply", message(2, IPv4Address(10, 77, 0, 2), theirs), {}},
        {"no hardware address", message(2, probed, MACAddress()), {}},
        {"cut short", Bytes(expected.begin(), expected.end() - 1), {}},
    };
    for (const auto& [rule, bytes, answer] : cases) {
        EXPECT_EQ(ARPProbe::answerFrom(bytes, probed), answer) << rule;
    }
}

} // namespace
} // namespace corvane
