#include <gtest/gtest.h>

#include "core/address/address_json.hpp"
#include "core/events/server_event.hpp"
#include "core/packet/option_code.hpp"
#include "tests/events/event_test_values.hpp"

namespace corvane {
namespace {

using testing::macEndingIn;

DHCPPacket packetWith(std::vector<DHCPOptionField> options) {
    DHCPPacket packet;
    packet.xid = 0x1234abcd;
    const auto mac = macEndingIn(7).bytes();
    std::copy(mac.begin(), mac.end(), packet.chaddr.begin());
    packet.options = std::move(options);
    return packet;
}

TEST(PacketSummaryType, NamesATypeOnlyForOneByteFrom1To8) {
    struct Case {
        const char* rule;
        std::vector<DHCPOptionField> options;
        std::optional<DHCPMessageType> type;
    };
    const Case cases[] = {
        {"no option 53", {}, std::nullopt},
        {"discover", {{OptionCode::messageType, {1}}}, DHCPMessageType::discover},
        {"inform is the last type", {{OptionCode::messageType, {8}}}, DHCPMessageType::inform},
        {"zero is no type", {{OptionCode::messageType, {0}}}, std::nullopt},
        {"nine is no type", {{OptionCode::messageType, {9}}}, std::nullopt},
        {"two bytes are no type", {{OptionCode::messageType, {1, 1}}}, std::nullopt},
        {"an empty option is no type", {{OptionCode::messageType, {}}}, std::nullopt},
        {"the first occurrence wins",
         {{OptionCode::messageType, {7}}, {OptionCode::messageType, {1}}},
         DHCPMessageType::release},
    };
    for (const auto& [rule, options, type] : cases) {
        EXPECT_EQ(PacketSummary(packetWith(options), std::nullopt).type, type) << rule;
    }
}

TEST(PacketSummaryAddresses, TakeOnlyFourByteValues) {
    struct Case {
        const char* rule;
        Bytes data;
        std::optional<IPv4Address> address;
    };
    const Case cases[] = {
        {"four bytes in network order", {192, 168, 0, 150}, IPv4Address(192, 168, 0, 150)},
        {"three bytes", {192, 168, 0}, std::nullopt},
        {"five bytes", {192, 168, 0, 150, 1}, std::nullopt},
        {"empty", {}, std::nullopt},
    };
    for (const auto& [rule, data, address] : cases) {
        const auto requested = PacketSummary(packetWith({{OptionCode::requestedIP, data}}), {});
        EXPECT_EQ(requested.requestedIP, address) << "option 50, " << rule;
        EXPECT_EQ(requested.serverID, std::nullopt) << "option 50, " << rule;
        const auto server = PacketSummary(packetWith({{OptionCode::serverID, data}}), {});
        EXPECT_EQ(server.serverID, address) << "option 54, " << rule;
        EXPECT_EQ(server.requestedIP, std::nullopt) << "option 54, " << rule;
    }
}

TEST(PacketSummaryTexts, AreMadePrintableAndCutTo64) {
    const Bytes longName(70, 'a');
    const Bytes oddName = {'c', 'a', 'm', 0x00, 0xff};
    const Bytes vendor = {'M', 'S', 'F', 'T', ' ', '5', '.', '0'};
    const auto summary = PacketSummary(
        packetWith({{OptionCode::hostname, longName}, {OptionCode::vendorClass, vendor}}), {});
    EXPECT_EQ(summary.hostname, std::string(64, 'a'));
    EXPECT_EQ(summary.vendorClass, "MSFT 5.0");
    EXPECT_EQ(PacketSummary(packetWith({{OptionCode::hostname, oddName}}), {}).hostname,
              "cam\\x00\\xff");
    EXPECT_EQ(PacketSummary(packetWith({}), {}).hostname, std::nullopt);
    EXPECT_EQ(PacketSummary(packetWith({}), {}).vendorClass, std::nullopt);
}

TEST(PacketSummaryFields, CopyTheHeaderAndTheArrivalCard) {
    auto packet = packetWith({{OptionCode::clientID, {1, 2, 0, 0x5e, 0x10, 0x20, 7}}});
    packet.ciaddr = IPv4Address(192, 168, 0, 120);
    const PacketSummary summary(packet, "enp3s0");
    EXPECT_EQ(summary.mac, macEndingIn(7));
    EXPECT_EQ(summary.xid, 0x1234abcdu);
    EXPECT_EQ(summary.ciaddr, IPv4Address(192, 168, 0, 120));
    EXPECT_EQ(summary.clientID, "01:02:00:5e:10:20:07");
    EXPECT_EQ(summary.interface, "enp3s0");

    auto foreign = packet;
    foreign.hlen = 16;
    EXPECT_EQ(PacketSummary(foreign, std::nullopt).mac, std::nullopt);
    EXPECT_EQ(PacketSummary(foreign, std::nullopt).interface, std::nullopt);
}

TEST(NoticeKindText, ParsesExactlyTheSevenCaseNames) {
    const char* names[] = {"localNetworkDenied", "otherServer", "portInUse",
                           "leaseSaveFailed",    "linkDown",    "adapterUnplugged",
                           "leaseFileSetAside"};
    ASSERT_EQ(allNoticeKinds.size(), std::size(names));
    for (std::size_t index = 0; index < allNoticeKinds.size(); ++index) {
        EXPECT_EQ(noticeKindName(allNoticeKinds[index]), names[index]);
        EXPECT_EQ(noticeKindNamed(names[index]), allNoticeKinds[index]);
    }
    for (const char* wrong : {"LinkDown", "linkdown", "linkDown ", "", "notice"}) {
        EXPECT_EQ(noticeKindNamed(wrong), std::nullopt) << wrong;
    }
}

TEST(NoticeKindCritical, OnlyTheFourBlockingKinds) {
    const std::pair<NoticeKind, bool> cases[] = {
        {NoticeKind::localNetworkDenied, true}, {NoticeKind::otherServer, true},
        {NoticeKind::portInUse, true},          {NoticeKind::leaseSaveFailed, true},
        {NoticeKind::linkDown, false},          {NoticeKind::adapterUnplugged, false},
        {NoticeKind::leaseFileSetAside, false},
    };
    for (const auto& [kind, critical] : cases) {
        EXPECT_EQ(isCritical(kind), critical) << noticeKindName(kind);
        EXPECT_EQ((Notice{kind, "x"}.isCritical()), critical) << noticeKindName(kind);
    }
}

TEST(NoticeKindJSON, IsTheCaseNameAndRefusesOthers) {
    for (const auto kind : allNoticeKinds) {
        const nlohmann::json document = kind;
        EXPECT_EQ(document, std::string(noticeKindName(kind)));
        EXPECT_EQ(document.get<NoticeKind>(), kind);
    }
    EXPECT_THROW(nlohmann::json("LinkDown").get<NoticeKind>(), DecodingError);
    EXPECT_THROW(nlohmann::json(4).get<NoticeKind>(), nlohmann::json::type_error);
}

TEST(NoticeMessages, ReadAsTheUserSeesThem) {
    const std::pair<Notice, Notice> cases[] = {
        {Notice::localNetworkDenied(),
         {NoticeKind::localNetworkDenied, "A firewall on this computer is blocking DHCP "
                                          "replies, so no device can get an address."}},
        {Notice::otherServer({192, 168, 0, 254}),
         {NoticeKind::otherServer, "Another DHCP server is on this cable (192.168.0.254). The "
                                   "device chose it instead of Corvane."}},
        {Notice::portInUse("dnsmasq"),
         {NoticeKind::portInUse, "Port 67 is in use by dnsmasq. Turn off Internet Sharing or "
                                 "stop the VM's shared network."}},
        {Notice::leaseSaveFailed("No space left on device"),
         {NoticeKind::leaseSaveFailed, "Leases could not be saved: No space left on device"}},
        {Notice::leaseFileUnreadable("Permission denied"),
         {NoticeKind::leaseSaveFailed,
          "Corvane can't read leases.json (Permission denied). Leases are kept in memory only "
          "and the file is left untouched."}},
        {Notice::linkDown("enx001"),
         {NoticeKind::linkDown, "Link down. No device is connected to enx001. Serving resumes "
                                "on its own when the link returns."}},
        {Notice::adapterUnplugged(),
         {NoticeKind::adapterUnplugged,
          "The adapter was unplugged. Waiting for it to come back\u2026"}},
        {Notice::leaseFileSetAside("/home/u/.local/share/corvane/"
                                   "leases.json.corrupt-20250301-120000"),
         {NoticeKind::leaseFileSetAside,
          "The lease file could not be read and was moved to "
          "leases.json.corrupt-20250301-120000. Starting with no leases."}},
    };
    for (const auto& [built, expected] : cases) {
        EXPECT_EQ(built, expected) << noticeKindName(expected.kind);
    }
}

TEST(NoticeIdentity, IsTheKindWhileEqualityAlsoNeedsTheMessage) {
    const auto first = Notice::linkDown("eth1");
    const auto second = Notice::linkDown("eth2");
    EXPECT_NE(first, second);
    EXPECT_EQ(first.id(), second.id());
    EXPECT_EQ(first, Notice::linkDown("eth1"));
}

TEST(ReplyDestinationText, NamesTheAddressAndClientPort) {
    EXPECT_EQ(ReplyDestination::broadcast().description(), "255.255.255.255:68");
    EXPECT_EQ(ReplyDestination::unicast({192, 168, 0, 150}).description(), "192.168.0.150:68");
    EXPECT_EQ(ReplyDestination::broadcast().address(), IPv4Address::broadcast);
    EXPECT_NE(ReplyDestination::broadcast(), ReplyDestination::unicast({192, 168, 0, 150}));
    EXPECT_NE(ReplyDestination::unicast({192, 168, 0, 150}),
              ReplyDestination::unicast({192, 168, 0, 151}));
}

} // namespace
} // namespace corvane
