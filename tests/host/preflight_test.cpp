#include <gtest/gtest.h>

#include "core/host/host_texts.hpp"
#include "core/host/preflight.hpp"

namespace corvane {
namespace {

using Status = PreflightCheck::Status;
using ID = PreflightCheck::ID;

const IPv4Address mask24(255, 255, 255, 0);

// A card that passes every check with the default configuration (192.168.0.1/24).
PreflightInput readyInput() {
    PreflightInput input;
    input.card.bsdName = "eth1";
    input.card.displayName = "USB LAN";
    input.card.serviceName = "Bench";
    input.card.kind = NetworkCard::Kind::ethernet;
    input.card.linkUp = true;
    input.card.media = "1000baseT full-duplex";
    input.card.addresses = {*Subnet::parse("192.168.0.1/24")};
    input.card.configMethod = NetworkCard::Manual{IPv4Address(192, 168, 0, 1), mask24};
    input.otherAddresses = {{"lo", *Subnet::parse("127.0.0.1/8"), false},
                            {"eth1", *Subnet::parse("192.168.0.1/24"), false},
                            {"wlan0", *Subnet::parse("10.20.0.7/16"), false}};
    input.config = ServerConfig::defaultConfig();
    return input;
}

std::optional<PreflightCheck> find(const std::vector<PreflightCheck>& checks, ID id) {
    for (const auto& entry : checks) {
        if (entry.id == id) {
            return entry;
        }
    }
    return std::nullopt;
}

// Each case changes the ready input and names the one check it expects to change; a card's
// full list, in order, is read through the check command.
TEST(PreflightEvaluate, EachRuleGivesItsStatusAndText) {
    struct Case {
        const char* rule;
        std::function<void(PreflightInput&)> change;
        ID id;
        Status status;
        std::string message;
        std::optional<PreflightCheck::Fix> fix = std::nullopt;
    };
    const Case cases[] = {
        {"a Wi-Fi card is not wired", [](auto& in) { in.card.kind = NetworkCard::Kind::wifi; },
         ID::wired, Status::fail, "USB LAN is not a wired card."},
        {"the internet route is refused", [](auto& in) { in.card.isPrimary = true; }, ID::wired,
         Status::fail, "USB LAN is this computer's main internet connection."},
        {"a virtual card passes when switched on",
         [](auto& in) {
             in.card.kind = NetworkCard::Kind::other;
             in.card.isVirtualEthernet = true;
             in.showVirtualCards = true;
         },
         ID::wired, Status::pass, "Virtual Ethernet card, not this computer's internet route"},
        {"a DHCP lease means another server",
         [](auto& in) {
             in.card.configMethod = NetworkCard::DHCP{};
             in.card.addresses = {*Subnet::parse("169.254.3.3/16"), *Subnet::parse("10.9.8.7/24")};
         },
         ID::foreignDHCP, Status::fail,
         "This card is on a network that already has a DHCP server (it got 10.9.8.7)."},
        {"a self-assigned address under DHCP is no server",
         [](auto& in) {
             in.card.configMethod = NetworkCard::DHCP{};
             in.card.addresses = {*Subnet::parse("169.254.7.9/16")};
         },
         ID::foreignDHCP, Status::pass, "No other DHCP server has configured this card"},
        {"the right address with another mask",
         [](auto& in) {
             in.card.configMethod =
                 NetworkCard::Manual{IPv4Address(192, 168, 0, 1), IPv4Address(255, 255, 0, 0)};
         },
         ID::adapterConfigured, Status::fail, "Card isn't set to 192.168.0.1/24",
         PreflightCheck::ConfigureAdapter{"Bench"}},
        {"no service and the wrong address",
         [](auto& in) {
             in.card.serviceName.reset();
             in.card.configMethod = NetworkCard::DHCP{};
         },
         ID::adapterConfigured, Status::fail,
         "No network service for USB LAN. Add it in System Settings > Network."},
        {"the shorter prefix decides",
         [](auto& in) {
             in.config.prefixLength = 16;
             in.config.rangeStart = IPv4Address(192, 168, 1, 10);
             in.otherAddresses.push_back({"eth3", *Subnet::parse("192.168.44.1/24"), false});
         },
         ID::subnetOverlap, Status::fail, "192.168.0.0/16 overlaps 192.168.44.0/24 (eth3)"},
        {"the card's own addresses and loopback never overlap",
         [](auto& in) {
             in.otherAddresses.push_back({"eth1", *Subnet::parse("192.168.0.9/24"), false});
             in.otherAddresses.push_back({"lo", *Subnet::parse("192.168.0.10/24"), false});
         },
         ID::subnetOverlap, Status::pass, "No overlap with other networks"},
        {"a VPN address inside the subnet warns",
         [](auto& in) {
             in.otherAddresses.push_back({"tun0", *Subnet::parse("192.168.0.50/32"), true});
         },
         ID::vpnOverlap, Status::warn, "VPN address 192.168.0.50 on tun0 is inside 192.168.0.0/24"},
        {"the port cannot be opened", [](auto& in) { in.port67 = Port67Error{"No such device"}; },
         ID::port67, Status::fail, "Port 67 can't be opened: No such device"},
        {"no link only warns", [](auto& in) { in.card.linkUp = false; }, ID::link, Status::warn,
         "No link: the server will start and wait for a device"},
    };
    for (const auto& entry : cases) {
        auto input = readyInput();
        entry.change(input);
        const auto checks = Preflight::evaluate(input);
        EXPECT_EQ(find(checks, entry.id),
                  (PreflightCheck{entry.id, entry.status, entry.message, entry.fix}))
            << entry.rule;
        if (entry.status != Status::pass) {
            // A failure blocks the start; a warning alone never does.
            EXPECT_EQ(Preflight::canStart(checks), entry.status == Status::warn) << entry.rule;
        }
    }
}

} // namespace
} // namespace corvane
