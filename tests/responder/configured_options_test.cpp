#include "core/responder/reply_options.hpp"
#include "tests/responder/responder_fixtures.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

constexpr std::uint8_t bootFileOption = 67;
constexpr std::uint8_t maximumMessageSize = 57;

ServerConfig bootingConfig() {
    auto config = testConfig();
    config.options = {
        {224, "hex:0a0b"}, {66, "tftp.lab"}, {42, "192.168.2.1"}, {15, "lab.example"}};
    config.nextServer = lan(2);
    config.bootFile = "pxelinux.0";
    return config;
}

ClientPacket asking(DHCPMessageType type, Bytes parameters) {
    return ClientPacket(type).edited([parameters](DHCPPacket& packet) {
        packet.setOption(OptionCode::parameterList, parameters);
    });
}

std::vector<std::uint8_t> codesAfterServerOptions(const DHCPPacket& packet) {
    std::vector<std::uint8_t> codes;
    bool past = false;
    for (const auto& field : packet.options) {
        if (past) {
            codes.push_back(field.code);
        }
        past = past || field.code == OptionCode::dns;
    }
    return codes;
}

TEST(ConfiguredOptions, FollowTheServersOwnInTheClientsOrderThenByCode) {
    // OFFER, ACK and INFORM answers all carry them; the client asked for 42 before 15.
    for (const auto& packet :
         {asking(DHCPMessageType::discover, {1, 3, 42, 6, 15}),
          asking(DHCPMessageType::request, {1, 3, 42, 6, 15}).requesting(lan(100)),
          asking(DHCPMessageType::inform, {1, 3, 42, 6, 15}).from(lan(60))}) {
        const auto decision = decide(packet, LeaseTable{}, bootingConfig());
        ASSERT_NE(replyOf(decision), nullptr);
        EXPECT_EQ(codesAfterServerOptions(replyOf(decision)->packet),
                  (std::vector<std::uint8_t>{42, 15, 66, 224}));
    }
}

TEST(ConfiguredOptions, TheBootFileGoesInTheFileAreaAndIn67OnlyWhenAskedFor) {
    for (const bool asksFor67 : {false, true}) {
        Bytes parameters{1, 3, 6};
        if (asksFor67) {
            parameters.push_back(bootFileOption);
        }
        const auto decision =
            decide(asking(DHCPMessageType::discover, parameters), LeaseTable{}, bootingConfig());
        const auto wire = replyOf(decision)->packet.serialize(DHCPPacket::minimumReplyLength);
        EXPECT_EQ(IPv4Address(wire[20], wire[21], wire[22], wire[23]), lan(2));
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(&wire[108])), "pxelinux.0");
        const auto option67 = replyOf(decision)->packet.option(bootFileOption);
        EXPECT_EQ(option67.has_value(), asksFor67);
        if (asksFor67) {
            EXPECT_EQ(*option67, Bytes({'p', 'x', 'e', 'l', 'i', 'n', 'u', 'x', '.', '0'}));
        }
    }
}

TEST(ConfiguredOptions, TheReplyNeverOutgrowsWhatTheClientAccepts) {
    auto config = testConfig();
    config.options = {{224, "hex:" + std::string(510, 'a')}, {225, "hex:" + std::string(510, 'b')}};
    struct Case {
        std::optional<std::uint16_t> maximumSize;
        std::size_t limit;
        std::size_t written;
    };
    // A client that names nothing, or less than the 576-byte floor, gets the floor.
    for (const auto& testCase : {Case{std::nullopt, 548, 0}, Case{300, 548, 0}, Case{576, 548, 0},
                                 Case{700, 672, 1}, Case{1500, 1472, 2}}) {
        const auto packet = ClientPacket(DHCPMessageType::discover).edited([&](DHCPPacket& p) {
            p.options.erase(
                std::ranges::find(p.options, maximumMessageSize, &DHCPOptionField::code));
            if (testCase.maximumSize) {
                const auto size = *testCase.maximumSize;
                p.setOption(maximumMessageSize, {static_cast<std::uint8_t>(size >> 8),
                                                 static_cast<std::uint8_t>(size & 0xff)});
            }
        });
        const auto decision = decide(packet, LeaseTable{}, config);
        const auto& reply = replyOf(decision)->packet;
        EXPECT_EQ(replySizeLimit(packet.wire()), testCase.limit);
        EXPECT_LE(reply.serialize(0).size(), testCase.limit);
        EXPECT_EQ(codesAfterServerOptions(reply).size(), testCase.written);
        const auto leftOut = std::ranges::count_if(decision.notes, [](const ServerEvent& event) {
            const auto* info = std::get_if<ServerEvent::Info>(&event.value());
            return info != nullptr && info->text.starts_with("option 22");
        });
        EXPECT_EQ(static_cast<std::size_t>(leftOut), 2 - testCase.written);
    }
}

} // namespace
} // namespace corvane
