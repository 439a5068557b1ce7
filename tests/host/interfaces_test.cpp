#include <gtest/gtest.h>

#include "core/host/interfaces.hpp"
#include "core/host/network_manager.hpp"

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
}

} // namespace
} // namespace corvane
