#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "core/host/host_texts.hpp"
#include "core/host/preflight.hpp"
#include "tests/support/temporary_folder.hpp"

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

// Each case changes the ready input and names the one check it expects to change. The order
// of the checks is read below; a ready card's full list through the check command.
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
        {"a wired card passes", [](auto&) {}, ID::wired, Status::pass,
         "Wired card, not this computer's internet route"},
        {"a Wi-Fi card is not wired", [](auto& in) { in.card.kind = NetworkCard::Kind::wifi; },
         ID::wired, Status::fail, "USB LAN is not a wired card."},
        {"not wired wins over primary",
         [](auto& in) {
             in.card.kind = NetworkCard::Kind::bridge;
             in.card.isPrimary = true;
         },
         ID::wired, Status::fail, "USB LAN is not a wired card."},
        {"the internet route is refused", [](auto& in) { in.card.isPrimary = true; }, ID::wired,
         Status::fail, "USB LAN is this computer's main internet connection."},
        {"a virtual card is refused while virtual cards are off",
         [](auto& in) {
             in.card.kind = NetworkCard::Kind::other;
             in.card.isVirtualEthernet = true;
         },
         ID::wired, Status::fail, "USB LAN is not a wired card."},
        {"a virtual card passes when switched on",
         [](auto& in) {
             in.card.kind = NetworkCard::Kind::other;
             in.card.isVirtualEthernet = true;
             in.showVirtualCards = true;
         },
         ID::wired, Status::pass, "Virtual Ethernet card, not this computer's internet route"},
        {"a tunnel is no virtual Ethernet card",
         [](auto& in) {
             in.card.kind = NetworkCard::Kind::other;
             in.showVirtualCards = true;
         },
         ID::wired, Status::fail, "USB LAN is not a wired card."},
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
        {"a manual address is not DHCP", [](auto&) {}, ID::foreignDHCP, Status::pass,
         "No other DHCP server has configured this card"},
        {"the service names the card", [](auto&) {}, ID::adapterConfigured, Status::pass,
         "Bench is set to 192.168.0.1/24"},
        {"the right address with another mask",
         [](auto& in) {
             in.card.configMethod =
                 NetworkCard::Manual{IPv4Address(192, 168, 0, 1), IPv4Address(255, 255, 0, 0)};
         },
         ID::adapterConfigured, Status::fail, "Card isn't set to 192.168.0.1/24",
         PreflightCheck::ConfigureAdapter{"Bench"}},
        {"no service names the card instead", [](auto& in) { in.card.serviceName.reset(); },
         ID::adapterConfigured, Status::pass, "USB LAN is set to 192.168.0.1/24"},
        {"no service and the wrong address",
         [](auto& in) {
             in.card.serviceName.reset();
             in.card.configMethod = NetworkCard::DHCP{};
         },
         ID::adapterConfigured, Status::fail,
         "No network service for USB LAN. Add it in System Settings > Network."},
        {"another card on an overlapping network",
         [](auto& in) {
             in.otherAddresses.push_back({"eth2", *Subnet::parse("192.168.0.77/16"), false});
         },
         ID::subnetOverlap, Status::fail, "192.168.0.0/24 overlaps 192.168.0.0/16 (eth2)"},
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
        {"the port is held by a named program",
         [](auto& in) { in.port67 = Port67InUse{"dnsmasq"}; }, ID::port67, Status::fail,
         "Port 67 is in use by dnsmasq. Stop it, or turn off the shared connection or "
         "virtual-machine network that started it."},
        {"the port is held by an unknown program", [](auto& in) { in.port67 = Port67InUse{}; },
         ID::port67, Status::fail,
         "Port 67 is in use by another program. Stop it, or turn off the shared connection or "
         "virtual-machine network that started it."},
        {"the port cannot be opened", [](auto& in) { in.port67 = Port67Error{"No such device"}; },
         ID::port67, Status::fail, "Port 67 can't be opened: No such device"},
        {"link without a media description", [](auto& in) { in.card.media.reset(); }, ID::link,
         Status::pass, "Link up \u00b7 connected"},
        {"no link only warns", [](auto& in) { in.card.linkUp = false; }, ID::link, Status::warn,
         "No link: the server will start and wait for a device"},
        {"VMware only warns", [](auto& in) { in.vmwareRunning = true; }, ID::vmware, Status::warn,
         "VMware is running and may grab the adapter"},
        {"a quiet cable passes", [](auto& in) { in.otherServer = NoOtherServer{}; },
         ID::otherServer, Status::pass, "No other DHCP server answers on eth1"},
        {"an answering server only warns",
         [](auto& in) {
             in.otherServer = OtherServerAnswer{IPv4Address(192, 168, 0, 254),
                                                *MACAddress::parse("00:11:22:33:44:55")};
         },
         ID::otherServer, Status::warn,
         "192.168.0.254 (00:11:22:33:44:55) answers DHCP on eth1: devices may take its address "
         "instead"},
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

TEST(PreflightEvaluate, OptionalChecksKeepTheirPlaces) {
    auto input = readyInput();
    input.otherAddresses.push_back({"wg0", *Subnet::parse("192.168.0.9/32"), true});
    input.otherAddresses.push_back({"wg1", *Subnet::parse("192.168.0.10/32"), true});
    input.vmwareRunning = true;
    input.card.linkUp = false;
    input.otherServer = NoOtherServer{};
    const auto checks = Preflight::evaluate(input);
    std::vector<ID> order;
    for (const auto& entry : checks) {
        order.push_back(entry.id);
    }
    EXPECT_EQ(order,
              (std::vector<ID>{ID::wired, ID::foreignDHCP, ID::adapterConfigured, ID::subnetOverlap,
                               ID::vpnOverlap, ID::port67, ID::link, ID::vmware, ID::otherServer}));
    EXPECT_EQ(checks[4].message, "VPN address 192.168.0.9 on wg0 is inside 192.168.0.0/24")
        << "the first VPN address is the one named";
    EXPECT_TRUE(Preflight::canStart(checks)) << "warnings never block a start";
}

TEST(PortHolder, NamesTheFirstProcessOnThePort) {
    struct Case {
        const char* rule;
        const char* listing;
        std::optional<Preflight::PortHolder> expected;
    };
    using Holder = Preflight::PortHolder;
    const Case cases[] = {
        {"a wildcard socket",
         "UNCONN 0      0      0.0.0.0:67      0.0.0.0:*    users:((\"dnsmasq\",pid=812,fd=4))\n",
         Holder{"dnsmasq", 812}},
        {"a socket bound to a card, two holders",
         "UNCONN 0 0 0.0.0.0%eth1:67 0.0.0.0:* "
         "users:((\"python3\",pid=9,fd=3),(\"kea\",pid=10,fd=5))",
         Holder{"python3", 9}},
        {"another port is skipped, the next line counts",
         "UNCONN 0 0 0.0.0.0:6767 0.0.0.0:* users:((\"other\",pid=1,fd=1))\n"
         "UNCONN 0 0 *:67 *:* users:((\"udhcpd\",pid=2,fd=3))\n",
         Holder{"udhcpd", 2}},
        {"no process list (not root)", "UNCONN 0 0 0.0.0.0:67 0.0.0.0:*\n", std::nullopt},
        {"an empty listing", "", std::nullopt},
        {"a peer on the port is not a holder",
         "ESTAB 0 0 10.0.0.2:5000 10.0.0.1:67 users:((\"x\",pid=1,fd=1))\n", std::nullopt},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(Preflight::holder(entry.listing, 67), entry.expected) << entry.rule;
    }
}

// ss cuts names to the kernel's 15 characters; the holder is named in full, with its PID.
TEST(PortHolder, IsNamedInFullWithItsProcessNumber) {
    const testing::TemporaryFolder proc;
    std::filesystem::create_directories(proc / "41");
    std::filesystem::create_directories(proc / "42");
    std::filesystem::create_symlink("/opt/lab/bin/corvane-screenshots", proc / "41" / "exe");
    std::ofstream(proc / "42" / "cmdline", std::ios::binary)
        << std::string("/usr/sbin/dnsmasq-with-a-long-name\0--keep-in-foreground\0", 56);
    using Holder = Preflight::PortHolder;
    EXPECT_EQ(Preflight::describe(Holder{"corvane-screens", 41}, proc.path()),
              "corvane-screenshots (PID 41)");
    EXPECT_EQ(Preflight::describe(Holder{"dnsmasq-with-a-", 42}, proc.path()),
              "dnsmasq-with-a-long-name (PID 42)");
    EXPECT_EQ(Preflight::describe(Holder{"gone", 43}, proc.path()), "gone (PID 43)");
    EXPECT_EQ(Preflight::describe(Holder{"nameless", std::nullopt}, proc.path()), "nameless");
}

} // namespace
} // namespace corvane
