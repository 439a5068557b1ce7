#include "core/host/interfaces.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include <ifaddrs.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/host/host_texts.hpp"
#include "core/host/network_manager.hpp"

namespace corvane {
namespace {

// IFF_LOWER_UP lives in the kernel's linux/if.h, which clashes with the C library's
// net/if.h; the kernel sets it while the card has a carrier.
constexpr unsigned int carrierFlag = 1u << 16;

struct LinkSpeed {
    std::uint32_t speed = SPEED_UNKNOWN;
    std::uint8_t duplex = DUPLEX_UNKNOWN;
};

// ethtool's link settings: the newer request first (it needs a handshake that tells the
// size of the link-mode masks), the legacy one for drivers that lack it.
std::optional<LinkSpeed> ethtoolLinkSpeed(const std::string& name) {
    const int socketDescriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socketDescriptor < 0) {
        return std::nullopt;
    }
    ifreq request{};
    std::strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);

    // The settings record ends in three link-mode masks of up to 127 words each.
    alignas(ethtool_link_settings)
        std::array<std::uint8_t, sizeof(ethtool_link_settings) + std::size_t{3} * 127 * 4>
            buffer{};
    auto* settings = reinterpret_cast<ethtool_link_settings*>(buffer.data());
    settings->cmd = ETHTOOL_GLINKSETTINGS;
    request.ifr_data = reinterpret_cast<char*>(buffer.data());
    std::optional<LinkSpeed> result;
    if (ioctl(socketDescriptor, SIOCETHTOOL, &request) == 0 &&
        settings->link_mode_masks_nwords < 0) {
        const auto words = static_cast<std::int8_t>(-settings->link_mode_masks_nwords);
        buffer.fill(0);
        settings->cmd = ETHTOOL_GLINKSETTINGS;
        settings->link_mode_masks_nwords = words;
        if (ioctl(socketDescriptor, SIOCETHTOOL, &request) == 0) {
            result = LinkSpeed{settings->speed, settings->duplex};
        }
    }
    if (!result) {
        ethtool_cmd legacy{};
        legacy.cmd = ETHTOOL_GSET;
        request.ifr_data = reinterpret_cast<char*>(&legacy);
        if (ioctl(socketDescriptor, SIOCETHTOOL, &request) == 0) {
            result = LinkSpeed{ethtool_cmd_speed(&legacy), legacy.duplex};
        }
    }
    close(socketDescriptor);
    return result;
}

Interfaces::MediaStatus mediaOf(const Rtnetlink::Link& link) {
    if ((link.flags & carrierFlag) == 0) {
        return {};
    }
    const auto speed = ethtoolLinkSpeed(link.name);
    return {true, speed ? Interfaces::describeMedia(speed->speed, speed->duplex) : std::nullopt};
}

// Ethernet-framed links are the ones whose hardware address is a MAC address worth showing;
// loopback also reports six zero bytes.
std::optional<MACAddress> macOf(const Rtnetlink::Link& link) {
    return link.hardwareType == ARPHRD_ETHER ? link.mac : std::nullopt;
}

NetworkCard::ConfigMethod kernelMethod(const Rtnetlink::Link& link,
                                       const std::vector<Rtnetlink::Address>& addresses) {
    const auto first = std::find_if(addresses.begin(), addresses.end(),
                                    [&](const auto& entry) { return entry.index == link.index; });
    if (first == addresses.end()) {
        return NetworkCard::None{};
    }
    // A lease gives an address a finite lifetime; one set by hand lives for ever.
    if (first->validLifetime != Rtnetlink::foreverLifetime) {
        return NetworkCard::DHCP{};
    }
    return NetworkCard::Manual{first->subnet.address, first->subnet.mask()};
}

std::map<std::string, Interfaces::ServiceConfig>
networkManagerConfigs(const ProcessRunner& runner,
                      const std::vector<NetworkManager::Connection>& connections) {
    std::vector<std::string> uuids;
    uuids.reserve(connections.size());
    for (const auto& connection : connections) {
        uuids.push_back(connection.uuid);
    }
    const auto allSettings = NetworkManager::settings(runner, uuids);
    std::map<std::string, Interfaces::ServiceConfig> configs;
    // A device's active connection wins; otherwise its first profile bound to it by name.
    for (const bool activePass : {true, false}) {
        for (const auto& connection : connections) {
            if (connection.active != activePass) {
                continue;
            }
            const auto found = allSettings.find(connection.uuid);
            const auto settings =
                found == allSettings.end() ? std::map<std::string, std::string>{} : found->second;
            auto device = connection.device;
            if (!connection.active || device.empty()) {
                const auto bound = settings.find(std::string(NetworkManager::interfaceNameKey));
                device = bound == settings.end() ? "" : bound->second;
            }
            if (device.empty() || device == "--") {
                continue;
            }
            configs.try_emplace(device, Interfaces::ServiceConfig{
                                            connection.name, Interfaces::method(settings), true});
        }
    }
    return configs;
}

// What NetworkManager says, asked once: nothing when it does not run.
struct NetworkManagerFacts {
    std::vector<NetworkManager::Device> devices;
    std::map<std::string, Interfaces::ServiceConfig> profiles;
};

// Three nmcli calls at most, whatever the number of saved connections: the listing finds
// out whether NetworkManager runs, then one call for every connection's settings and one
// for the devices.
NetworkManagerFacts networkManagerFacts(const ProcessRunner& runner) {
    const auto connections = NetworkManager::connections(runner);
    if (connections.empty()) {
        return {};
    }
    return {NetworkManager::devices(runner), networkManagerConfigs(runner, connections)};
}

} // namespace

std::vector<NetworkCard> Interfaces::list(const ProcessRunner& runner) {
    const auto addresses = interfaceAddresses();
    const auto links = Rtnetlink::links();
    const auto networkManager = networkManagerFacts(runner);
    const auto configs = serviceConfigs(links, Rtnetlink::addresses(), networkManager.devices,
                                        networkManager.profiles);
    const auto primary = primaryInterface();
    std::vector<NetworkCard> cards;
    for (const auto& link : links) {
        const auto facts = SysfsFacts::read(link);
        NetworkCard card;
        card.bsdName = link.name;
        card.displayName = facts.hardwareName.value_or(link.name);
        card.kind = kind(link, facts);
        card.mac = macOf(link);
        const auto media = mediaOf(link);
        card.linkUp = media.linkUp;
        card.media = media.description;
        for (const auto& address : addresses) {
            if (address.name == link.name) {
                card.addresses.push_back(address.subnet);
            }
        }
        if (const auto config = configs.find(link.name); config != configs.end()) {
            card.serviceName = config->second.name;
            card.configMethod = config->second.method;
        }
        card.isPrimary = primary == link.name;
        card.isVirtualEthernet =
            card.kind == NetworkCard::Kind::other && link.hardwareType == ARPHRD_ETHER;
        // A veth or tap reports whatever speed its driver makes up; the truth is that the
        // link is virtual.
        if (card.isVirtualEthernet && card.linkUp) {
            card.media = std::string(host_texts::virtualLink);
        }
        card.driver = facts.driver;
        card.managedByNetworkManager = isManagedByNetworkManager(link, networkManager.devices);
        cards.push_back(std::move(card));
    }
    return cards;
}

std::optional<std::string> Interfaces::bsdName(const MACAddress& mac, std::string_view kind) {
    for (const auto& link : Rtnetlink::links()) {
        if (macOf(link) == mac && link.kind == kind) {
            return link.name;
        }
    }
    return std::nullopt;
}

std::optional<std::string> Interfaces::linkKind(const std::string& bsdName) {
    for (const auto& link : Rtnetlink::links()) {
        if (link.name == bsdName) {
            return link.kind;
        }
    }
    return std::nullopt;
}

Interfaces::MediaStatus Interfaces::mediaStatus(const std::string& bsdName) {
    return readMediaStatus(bsdName).value_or(MediaStatus{});
}

std::optional<Interfaces::MediaStatus> Interfaces::readMediaStatus(const std::string& bsdName) {
    const auto links = Rtnetlink::tryLinks();
    if (!links) {
        return std::nullopt;
    }
    for (const auto& link : *links) {
        if (link.name == bsdName) {
            return mediaOf(link);
        }
    }
    return MediaStatus{};
}

std::vector<InterfaceAddress> Interfaces::interfaceAddresses() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return {};
    }
    std::vector<InterfaceAddress> result;
    for (const auto* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        sockaddr_in address{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        std::uint32_t maskValue = 0;
        if (entry->ifa_netmask != nullptr) {
            sockaddr_in mask{};
            std::memcpy(&mask, entry->ifa_netmask, sizeof mask);
            maskValue = ntohl(mask.sin_addr.s_addr);
        }
        const auto prefix = Subnet::prefixLengthOfMask(IPv4Address(maskValue));
        if (!prefix) {
            continue;
        }
        // An alias address carries a label such as "eth0:1"; the card is the part before
        // the colon, which a Linux interface name never holds.
        std::string name = entry->ifa_name;
        name = name.substr(0, name.find(':'));
        result.push_back({name, Subnet{IPv4Address(ntohl(address.sin_addr.s_addr)), *prefix},
                          (entry->ifa_flags & IFF_POINTOPOINT) != 0});
    }
    freeifaddrs(first);
    return result;
}

std::map<std::string, Interfaces::ServiceConfig>
Interfaces::serviceConfigs(const ProcessRunner& runner) {
    const auto networkManager = networkManagerFacts(runner);
    return serviceConfigs(Rtnetlink::links(), Rtnetlink::addresses(), networkManager.devices,
                          networkManager.profiles);
}

std::map<std::string, Interfaces::ServiceConfig>
Interfaces::serviceConfigs(const std::vector<Rtnetlink::Link>& links,
                           const std::vector<Rtnetlink::Address>& addresses,
                           const std::vector<NetworkManager::Device>& managedDevices,
                           const std::map<std::string, ServiceConfig>& profiles) {
    std::map<std::string, ServiceConfig> configs;
    for (const auto& link : links) {
        if (isManagedByNetworkManager(link, managedDevices)) {
            // A managed card without a profile has no service at all.
            if (const auto profile = profiles.find(link.name); profile != profiles.end()) {
                configs.emplace(link.name, profile->second);
            }
            continue;
        }
        // Elsewhere the interface is its own service, and how its address came about shows
        // in the address's lifetime.
        configs.emplace(link.name, ServiceConfig{link.name, kernelMethod(link, addresses), false});
    }
    return configs;
}

bool Interfaces::isManagedByNetworkManager(
    const Rtnetlink::Link& link, const std::vector<NetworkManager::Device>& managedDevices) {
    return std::any_of(managedDevices.begin(), managedDevices.end(), [&](const auto& device) {
        return device.name == link.name && device.mac == macOf(link);
    });
}

std::optional<std::string> Interfaces::primaryInterface() {
    const auto routes = Rtnetlink::defaultRoutes();
    const auto best =
        std::min_element(routes.begin(), routes.end(), [](const auto& one, const auto& other) {
            return one.metric < other.metric;
        });
    if (best == routes.end()) {
        return std::nullopt;
    }
    std::array<char, IF_NAMESIZE> name{};
    if (if_indextoname(static_cast<unsigned>(best->outputIndex), name.data()) == nullptr) {
        return std::nullopt;
    }
    return std::string(name.data());
}

} // namespace corvane
