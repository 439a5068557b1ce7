#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <linux/ethtool.h>
#include <net/if_arp.h>

#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/network_manager.hpp"
#include "tests/host/fake_programs.hpp"

namespace corvane {
namespace {

NetworkCard card(std::string name, std::string display, bool linkUp,
                 NetworkCard::Kind kind = NetworkCard::Kind::ethernet) {
    NetworkCard result;
    result.bsdName = std::move(name);
    result.displayName = std::move(display);
    result.linkUp = linkUp;
    result.kind = kind;
    return result;
}

NetworkCard virtualCard(std::string name, bool linkUp) {
    auto result = card(name, name, linkUp, NetworkCard::Kind::other);
    result.isVirtualEthernet = true;
    return result;
}

std::vector<std::string> namesOf(const std::vector<NetworkCard>& cards) {
    std::vector<std::string> names;
    for (const auto& entry : cards) {
        names.push_back(entry.bsdName);
    }
    return names;
}

// Wired cards named en* or eth*, never Thunderbolt, linked first and then by display name;
// virtual Ethernet cards (not tunnels) after every physical one, and only when switched on.
TEST(OfferedCards, KeepWiredCardsInOrderAndVirtualOnesLast) {
    auto thunderboltByDriver = card("en9", "USB LAN", true);
    thunderboltByDriver.driver = "thunderbolt-net";
    const std::vector<NetworkCard> cards = {
        card("wlan0", "Wireless", true, NetworkCard::Kind::wifi),
        card("br0", "Bridge", true, NetworkCard::Kind::bridge),
        card("usb0", "Gadget", true),
        card("en7", "Thunderbolt Bridge", true),
        thunderboltByDriver,
        card("tun0", "tun0", true, NetworkCard::Kind::other),
        virtualCard("veth2", false),
        card("eth1", "Ethernet", true),
        card("en3", "Adapter", false),
        virtualCard("tap0", true),
        card("enp3s0", "Intel I219", true),
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(namesOf(Interfaces::offered(cards, false)), (Names{"eth1", "enp3s0"}));
    EXPECT_EQ(namesOf(Interfaces::offered(cards, true)), (Names{"eth1", "enp3s0", "en3"}));
    EXPECT_EQ(namesOf(Interfaces::offered(cards, false, true)), (Names{"eth1", "enp3s0", "tap0"}));
    EXPECT_EQ(namesOf(Interfaces::offered(cards, true, true)),
              (Names{"eth1", "enp3s0", "en3", "tap0", "veth2"}));
}

TEST(PreferredCard, FollowsItsOrderOfPrecedence) {
    auto remembered = card("en5", "USB LAN", false);
    remembered.mac = MACAddress::parse("00:11:22:33:44:55");
    auto thunderbolt = card("en7", "Thunderbolt Bridge", true);
    thunderbolt.mac = MACAddress::parse("66:55:44:33:22:11");
    const std::vector<NetworkCard> cards = {card("en1", "Adapter", false), remembered,
                                            card("en2", "Ethernet", true), thunderbolt,
                                            virtualCard("veth0", true)};
    const auto rememberedMAC = remembered.mac;
    struct Case {
        const char* rule;
        std::optional<std::string> current;
        std::optional<MACAddress> remembered;
        bool running;
        bool showVirtual;
        std::optional<std::string> expected;
    };
    const Case cases[] = {
        {"running keeps the current card even when it is gone", "en99", rememberedMAC, true, false,
         "en99"},
        {"running keeps no card as no card", std::nullopt, rememberedMAC, true, false,
         std::nullopt},
        {"a current candidate stays", "en1", rememberedMAC, false, false, "en1"},
        {"a vanished current card gives way to the remembered MAC", "en99", rememberedMAC, false,
         false, "en5"},
        {"else the first card with link", std::nullopt, std::nullopt, false, false, "en2"},
        {"a remembered Thunderbolt card is never chosen", std::nullopt, thunderbolt.mac, false,
         false, "en2"},
        {"a current Thunderbolt card is never kept", "en7", std::nullopt, false, false, "en2"},
        {"a virtual card is kept only when switched on", "veth0", std::nullopt, false, true,
         "veth0"},
        {"a virtual card is not a candidate when off", "veth0", std::nullopt, false, false, "en2"},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(Interfaces::preferredCardID(cards, entry.current, entry.remembered, entry.running,
                                              entry.showVirtual),
                  entry.expected)
            << entry.rule;
    }
}

TEST(PreferredCard, FallsBackToTheFirstCandidateThenToNothing) {
    const std::vector<NetworkCard> unlinked = {card("en4", "Zeta", false),
                                               card("en3", "Alpha", false)};
    EXPECT_EQ(Interfaces::preferredCardID(unlinked, std::nullopt, std::nullopt, false), "en3");
    const std::vector<NetworkCard> none = {card("wlan0", "Wi-Fi", true, NetworkCard::Kind::wifi)};
    EXPECT_EQ(Interfaces::preferredCardID(none, std::nullopt, std::nullopt, false), std::nullopt);
}

TEST(AddressSummary, DependsOnTheFirstAddressAndTheMethod) {
    const auto summary = [](std::vector<const char*> addresses, NetworkCard::ConfigMethod method) {
        auto subject = card("en0", "Ethernet", true);
        for (const auto* text : addresses) {
            subject.addresses.push_back(*Subnet::parse(text));
        }
        subject.configMethod = method;
        return subject.addressSummary();
    };
    const auto manual =
        NetworkCard::Manual{IPv4Address(192, 168, 0, 1), IPv4Address(255, 255, 255, 0)};
    EXPECT_EQ(summary({}, NetworkCard::DHCP{}), "no address");
    EXPECT_EQ(summary({"169.254.12.3/16"}, manual), "169.254.12.3 (self-assigned)");
    EXPECT_EQ(summary({"192.168.0.1/24", "10.0.0.1/8"}, manual), "192.168.0.1 (manual)");
    EXPECT_EQ(summary({"10.1.2.3/16"}, NetworkCard::Other{"shared"}), "10.1.2.3");
    EXPECT_EQ(summary({"10.1.2.3/16"}, NetworkCard::None{}), "10.1.2.3");
    EXPECT_EQ(summary({"10.0.0.2/8", "169.254.1.1/16"}, NetworkCard::DHCP{}), "10.0.0.2 (DHCP)")
        << "only the first address counts";
}

TEST(MediaDescription, NamesKnownSpeedsAndAppendsDuplex) {
    struct Case {
        std::uint32_t speed;
        std::uint8_t duplex;
        std::optional<std::string> expected;
    };
    const Case cases[] = {
        {10, DUPLEX_HALF, "10baseT half-duplex"},
        {5000, DUPLEX_UNKNOWN, "5000Base-T"},
        {40000, DUPLEX_FULL, "media 40000 Mb/s full-duplex"},
        {static_cast<std::uint32_t>(SPEED_UNKNOWN), DUPLEX_FULL, std::nullopt},
        {0, DUPLEX_FULL, std::nullopt},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(Interfaces::describeMedia(entry.speed, entry.duplex), entry.expected)
            << entry.speed;
    }
}

TEST(ConfigurationMethod, ReadsNetworkManagerSettings) {
    using Settings = std::map<std::string, std::string>;
    struct Case {
        const char* rule;
        Settings settings;
        NetworkCard::ConfigMethod expected;
    };
    const Case cases[] = {
        {"no method", {}, NetworkCard::None{}},
        {"auto is DHCP", {{"ipv4.method", "auto"}}, NetworkCard::DHCP{}},
        {"disabled is none", {{"ipv4.method", "disabled"}}, NetworkCard::None{}},
        {"manual takes the first address and its mask",
         {{"ipv4.method", "manual"}, {"ipv4.addresses", "192.168.0.1/24, 10.0.0.1/8"}},
         NetworkCard::Manual{IPv4Address(192, 168, 0, 1), IPv4Address(255, 255, 255, 0)}},
        {"manual without addresses", {{"ipv4.method", "manual"}}, NetworkCard::Other{"manual"}},
        {"manual with an unreadable address",
         {{"ipv4.method", "manual"}, {"ipv4.addresses", "192.168.0/24"}},
         NetworkCard::Other{"manual"}},
        {"anything else keeps its word", {{"ipv4.method", "shared"}}, NetworkCard::Other{"shared"}},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(Interfaces::method(entry.settings), entry.expected) << entry.rule;
    }
}

TEST(NetworkManagerListing, UnescapesTerseFields) {
    EXPECT_EQ(NetworkManager::terseFields("Office\\: 2nd floor:uuid-1:eth0:yes"),
              (std::vector<std::string>{"Office: 2nd floor", "uuid-1", "eth0", "yes"}));
    EXPECT_EQ(NetworkManager::terseFields("back\\\\slash::"),
              (std::vector<std::string>{"back\\slash", "", ""}));
    const auto connections =
        NetworkManager::parseConnections("Wired 1:u1:eth0:yes\nbroken line\nSpare:u2::no\n");
    EXPECT_EQ(connections, (std::vector<NetworkManager::Connection>{{"Wired 1", "u1", "eth0", true},
                                                                    {"Spare", "u2", "", false}}));
    const auto devices = NetworkManager::parseDevices(
        "GENERAL.DEVICE:eth0\nGENERAL.HWADDR:52\\:54\\:00\\:12\\:34\\:56\n"
        "GENERAL.DEVICE:wg0\nGENERAL.HWADDR:\n"
        "GENERAL.DEVICE:eth1\nGENERAL.HWADDR:02:00:00:00:00:09\n");
    EXPECT_EQ(devices, (std::vector<NetworkManager::Device>{
                           {"eth0", MACAddress::parse("52:54:00:12:34:56")},
                           {"wg0", std::nullopt},
                           {"eth1", MACAddress::parse("02:00:00:00:00:09")}}));
    // Each connection's settings, one block a UUID, are read through a fake nmcli in
    // host_e2e_test.cpp.
}

class FakeSysfs : public ::testing::Test {
protected:
    void SetUp() override {
        root_ = fakes_.folder() / "sys";
        udev_ = fakes_.folder() / "udev";
        std::filesystem::create_directories(udev_);
    }

    Rtnetlink::Link addLink(const std::string& name, int index, const std::string& mac,
                            const std::vector<std::string>& entries) {
        const auto folder = root_ / name;
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "ifindex") << index << "\n";
        std::ofstream(folder / "address") << mac << "\n";
        for (const auto& entry : entries) {
            std::filesystem::create_directories(folder / entry);
        }
        return {index, name, 0, ARPHRD_ETHER, MACAddress::parse(mac), ""};
    }

    testing::FakePrograms fakes_;
    std::filesystem::path root_;
    std::filesystem::path udev_;
};

TEST_F(FakeSysfs, KindComesFromLinkTypeAndSysfs) {
    const auto wired = addLink("eth0", 2, "00:11:22:33:44:55", {"device"});
    const auto wireless = addLink("wlan0", 3, "00:11:22:33:44:56", {"device", "phy80211"});
    const auto bridge = addLink("br0", 4, "00:11:22:33:44:57", {"bridge"});
    auto veth = addLink("veth0", 5, "00:11:22:33:44:58", {});
    veth.kind = "veth";
    auto bridgeByType = addLink("br1", 6, "00:11:22:33:44:59", {});
    bridgeByType.kind = "bridge";
    auto otherNamespace = addLink("eth1", 7, "00:11:22:33:44:5a", {"device"});
    otherNamespace.index = 70;
    auto loopback = addLink("lo", 1, "00:00:00:00:00:00", {});
    loopback.hardwareType = ARPHRD_LOOPBACK;
    struct Case {
        const char* rule;
        Rtnetlink::Link link;
        NetworkCard::Kind expected;
    };
    const Case cases[] = {
        {"an Ethernet link backed by a device", wired, NetworkCard::Kind::ethernet},
        {"a wireless card", wireless, NetworkCard::Kind::wifi},
        {"a bridge by sysfs", bridge, NetworkCard::Kind::bridge},
        {"a bridge by link type", bridgeByType, NetworkCard::Kind::bridge},
        {"a veth", veth, NetworkCard::Kind::other},
        {"sysfs of another namespace is not believed", otherNamespace, NetworkCard::Kind::other},
        {"loopback", loopback, NetworkCard::Kind::other},
    };
    for (const auto& entry : cases) {
        const auto facts = SysfsFacts::read(entry.link, root_, udev_);
        EXPECT_EQ(Interfaces::kind(entry.link, facts), entry.expected) << entry.rule;
    }
}

TEST_F(FakeSysfs, HardwareNameAndDriverComeFromUdevAndTheDeviceLink) {
    const auto link = addLink("enp3s0", 4, "00:11:22:33:44:55", {"device", "drivers/e1000e"});
    std::filesystem::create_directory_symlink(root_ / "enp3s0" / "drivers" / "e1000e",
                                              root_ / "enp3s0" / "device" / "driver");
    std::ofstream(udev_ / "n4") << "I:123\nE:ID_MODEL_FROM_DATABASE=82574L Gigabit Network "
                                   "Connection\nE:ID_VENDOR_FROM_DATABASE=Intel Corporation\n";
    const auto facts = SysfsFacts::read(link, root_, udev_);
    EXPECT_TRUE(facts.describesLink);
    EXPECT_EQ(facts.driver, "e1000e");
    EXPECT_EQ(facts.hardwareName, "Intel Corporation 82574L Gigabit Network Connection");

    auto moved = link;
    moved.mac = MACAddress::parse("00:11:22:33:44:99");
    EXPECT_FALSE(SysfsFacts::read(moved, root_, udev_).hardwareName)
        << "a record for another card under the same index must not name this one";
}

} // namespace
} // namespace corvane
