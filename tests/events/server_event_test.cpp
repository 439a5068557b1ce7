#include <gtest/gtest.h>

#include "core/address/address_json.hpp"
#include "core/events/server_event.hpp"
#include "core/packet/option_code.hpp"

namespace corvane {
namespace {

const MACAddress client({0x02, 0x00, 0x5e, 0x10, 0x20, 7});

PacketSummary summaryOf(std::vector<DHCPOptionField> options,
                        std::optional<std::string> interface = {}) {
    DHCPPacket packet;
    packet.xid = 0x1234abcd;
    packet.ciaddr = IPv4Address(192, 168, 0, 120);
    const auto mac = client.bytes();
    std::copy(mac.begin(), mac.end(), packet.chaddr.begin());
    packet.options = std::move(options);
    return PacketSummary(packet, std::move(interface));
}

TEST(PacketSummaryType, NamesATypeOnlyForOneByteFrom1To8) {
    const std::pair<std::vector<DHCPOptionField>, std::optional<DHCPMessageType>> cases[] = {
        {{}, std::nullopt},
        {{{OptionCode::messageType, {1}}}, DHCPMessageType::discover},
        {{{OptionCode::messageType, {8}}}, DHCPMessageType::inform},
        {{{OptionCode::messageType, {9}}}, std::nullopt},
        {{{OptionCode::messageType, {1, 1}}}, std::nullopt},
        {{{OptionCode::messageType, {}}}, std::nullopt},
        // The first occurrence wins.
        {{{OptionCode::messageType, {7}}, {OptionCode::messageType, {1}}},
         DHCPMessageType::release},
    };
    for (const auto& [options, type] : cases) {
        EXPECT_EQ(summaryOf(options).type, type) << ::testing::PrintToString(options);
    }
}

TEST(PacketSummaryAddresses, TakeOnlyFourByteValues) {
    const std::pair<Bytes, std::optional<IPv4Address>> cases[] = {
        {{192, 168, 0, 150}, IPv4Address(192, 168, 0, 150)},
        {{192, 168, 0}, std::nullopt},
        {{192, 168, 0, 150, 1}, std::nullopt},
    };
    for (const auto& [data, address] : cases) {
        SCOPED_TRACE(::testing::PrintToString(data));
        const auto requested = summaryOf({{OptionCode::requestedIP, data}});
        EXPECT_EQ(requested.requestedIP, address);
        EXPECT_EQ(requested.serverID, std::nullopt);
        const auto server = summaryOf({{OptionCode::serverID, data}});
        EXPECT_EQ(server.serverID, address);
        EXPECT_EQ(server.requestedIP, std::nullopt);
    }
}

// The escaping rules and when a chaddr is a MAC are the packet's own (tests/packet).
TEST(PacketSummaryFields, CopyTheHeaderAndMakeTextsPrintableWithin64) {
    PacketSummary bare;
    bare.mac = client;
    bare.xid = 0x1234abcd;
    bare.ciaddr = IPv4Address(192, 168, 0, 120);
    EXPECT_EQ(summaryOf({}), bare);

    auto expected = bare;
    expected.interface = "enp3s0";
    expected.clientID = "01:02:00:5e:10:20:07";
    expected.hostname = std::string(64, 'a');
    expected.vendorClass = "MSFT 5.0";
    EXPECT_EQ(summaryOf({{OptionCode::clientID, {1, 2, 0, 0x5e, 0x10, 0x20, 7}},
                         {OptionCode::hostname, Bytes(70, 'a')},
                         {OptionCode::vendorClass, {'M', 'S', 'F', 'T', ' ', '5', '.', '0'}}},
                        "enp3s0"),
              expected);
    EXPECT_EQ(summaryOf({{OptionCode::hostname, {'c', 'a', 'm', 0x00, 0xff}}}).hostname,
              "cam\\x00\\xff");
}

TEST(NoticeKindText, NamesAndJSONUseExactlyTheSevenCaseNamesAndFourAreCritical) {
    const std::pair<const char*, bool> cases[] = {
        {"localNetworkDenied", true}, {"otherServer", true}, {"portInUse", true},
        {"leaseSaveFailed", true},    {"linkDown", false},   {"adapterUnplugged", false},
        {"leaseFileSetAside", false},
    };
    ASSERT_EQ(allNoticeKinds.size(), std::size(cases));
    for (std::size_t index = 0; index < allNoticeKinds.size(); ++index) {
        const auto kind = allNoticeKinds[index];
        const auto [name, critical] = cases[index];
        EXPECT_EQ(noticeKindName(kind), name);
        EXPECT_EQ(noticeKindNamed(name), kind);
        EXPECT_EQ(nlohmann::json(kind), name);
        EXPECT_EQ(nlohmann::json(name).get<NoticeKind>(), kind);
        EXPECT_EQ(isCritical(kind), critical) << name;
        EXPECT_EQ((Notice{kind, "x"}.isCritical()), critical) << name;
    }
    for (const char* wrong : {"LinkDown", "linkdown", "linkDown ", "", "notice"}) {
        EXPECT_EQ(noticeKindNamed(wrong), std::nullopt) << wrong;
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
    // One banner per kind: the identity is the kind, while equality also needs the message.
    EXPECT_NE(Notice::linkDown("eth1"), Notice::linkDown("eth2"));
    EXPECT_EQ(Notice::linkDown("eth1").id(), Notice::linkDown("eth2").id());
}

TEST(ReplyDestinationText, NamesTheAddressAndClientPort) {
    EXPECT_EQ(ReplyDestination::broadcast().description(), "255.255.255.255:68");
    EXPECT_EQ(ReplyDestination::unicast({192, 168, 0, 150}).description(), "192.168.0.150:68");
    EXPECT_EQ(ReplyDestination::broadcast().address(), IPv4Address::broadcast);
}

} // namespace
} // namespace corvane
