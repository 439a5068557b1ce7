#include <algorithm>

#include <linux/ethtool.h>
#include <net/if_arp.h>

#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/network_manager.hpp"

// The pure half of Interfaces: which cards are offered and in what order, and how kernel
// facts read as kinds, media texts and configuration methods.
namespace corvane {
namespace {

bool isThunderbolt(const NetworkCard& card) {
    return card.driver == "thunderbolt-net" || card.displayName.starts_with("Thunderbolt");
}

bool isWiredCandidate(const NetworkCard& card) {
    const bool wiredName = card.bsdName.starts_with("en") || card.bsdName.starts_with("eth");
    return card.kind == NetworkCard::Kind::ethernet && wiredName && !isThunderbolt(card);
}

bool isVirtualCandidate(const NetworkCard& card) {
    return card.kind == NetworkCard::Kind::other && card.isVirtualEthernet && !isThunderbolt(card);
}

// Cards with link first, then by display name; equal cards keep their kernel order.
void sortForDisplay(std::vector<NetworkCard>& cards) {
    std::stable_sort(cards.begin(), cards.end(), [](const auto& one, const auto& other) {
        if (one.linkUp != other.linkUp) {
            return one.linkUp;
        }
        return one.displayName < other.displayName;
    });
}

std::vector<NetworkCard> candidates(const std::vector<NetworkCard>& cards, bool showVirtualCards) {
    std::vector<NetworkCard> wired;
    std::vector<NetworkCard> virtualCards;
    for (const auto& card : cards) {
        if (isWiredCandidate(card)) {
            wired.push_back(card);
        } else if (showVirtualCards && isVirtualCandidate(card)) {
            virtualCards.push_back(card);
        }
    }
    sortForDisplay(wired);
    sortForDisplay(virtualCards);
    wired.insert(wired.end(), virtualCards.begin(), virtualCards.end());
    return wired;
}

std::optional<Subnet> firstAddressIn(const std::string& addresses) {
    const auto end = addresses.find(',');
    auto first = addresses.substr(0, end);
    first.erase(0, first.find_first_not_of(' '));
    first.erase(first.find_last_not_of(' ') + 1);
    return Subnet::parse(first);
}

} // namespace

std::vector<NetworkCard> Interfaces::offered(const std::vector<NetworkCard>& cards,
                                             bool showDisconnected, bool showVirtualCards) {
    auto result = candidates(cards, showVirtualCards);
    std::erase_if(result, [&](const auto& card) { return !showDisconnected && !card.linkUp; });
    return result;
}

std::optional<std::string> Interfaces::preferredCardID(const std::vector<NetworkCard>& cards,
                                                       const std::optional<std::string>& current,
                                                       const std::optional<MACAddress>& remembered,
                                                       bool isRunning, bool showVirtualCards) {
    if (isRunning) {
        return current;
    }
    const auto choices = candidates(cards, showVirtualCards);
    const auto find = [&](auto predicate) {
        return std::find_if(choices.begin(), choices.end(), predicate);
    };
    if (current && find([&](const auto& card) { return card.id() == *current; }) != choices.end()) {
        return current;
    }
    if (remembered) {
        if (const auto card = find([&](const auto& card) { return card.mac == remembered; });
            card != choices.end()) {
            return card->id();
        }
    }
    if (const auto card = find([](const auto& card) { return card.linkUp; });
        card != choices.end()) {
        return card->id();
    }
    if (!choices.empty()) {
        return choices.front().id();
    }
    return std::nullopt;
}

std::optional<std::string> Interfaces::describeMedia(std::uint32_t speed, std::uint8_t duplex) {
    if (speed == 0 || speed == static_cast<std::uint32_t>(SPEED_UNKNOWN)) {
        return std::nullopt;
    }
    std::string text;
    switch (speed) {
    case 10:
        text = "10baseT";
        break;
    case 100:
        text = "100baseTX";
        break;
    case 1000:
        text = "1000baseT";
        break;
    case 2500:
        text = "2500Base-T";
        break;
    case 5000:
        text = "5000Base-T";
        break;
    case 10000:
        text = "10GBase-T";
        break;
    default:
        text = "media " + std::to_string(speed) + " Mb/s";
    }
    if (duplex == DUPLEX_FULL) {
        text += host_texts::fullDuplexSuffix;
    } else if (duplex == DUPLEX_HALF) {
        text += host_texts::halfDuplexSuffix;
    }
    return text;
}

NetworkCard::ConfigMethod Interfaces::method(const std::map<std::string, std::string>& settings) {
    const auto method = settings.find(std::string(NetworkManager::methodKey));
    if (method == settings.end()) {
        return NetworkCard::None{};
    }
    if (method->second == "auto") {
        return NetworkCard::DHCP{};
    }
    if (method->second == "disabled") {
        return NetworkCard::None{};
    }
    if (method->second == "manual") {
        const auto addresses = settings.find(std::string(NetworkManager::addressesKey));
        const auto first =
            addresses == settings.end() ? std::nullopt : firstAddressIn(addresses->second);
        if (first) {
            return NetworkCard::Manual{first->address, first->mask()};
        }
    }
    return NetworkCard::Other{method->second};
}

NetworkCard::Kind Interfaces::kind(const Rtnetlink::Link& link, const SysfsFacts& facts) {
    if (link.kind == "bridge" || (facts.describesLink && facts.isBridge)) {
        return NetworkCard::Kind::bridge;
    }
    if (facts.describesLink && facts.isWireless) {
        return NetworkCard::Kind::wifi;
    }
    // Software links (veth, tap, macvlan, vlan...) name their type; hardware does not.
    if (link.kind.empty() && facts.describesLink && facts.hasDevice &&
        link.hardwareType == ARPHRD_ETHER) {
        return NetworkCard::Kind::ethernet;
    }
    return NetworkCard::Kind::other;
}

} // namespace corvane
