#include <gtest/gtest.h>

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

} // namespace
} // namespace corvane
