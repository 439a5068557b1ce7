#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/address/mac_address.hpp"
#include "core/host/interface_address.hpp"
#include "core/host/network_card.hpp"
#include "core/host/network_manager.hpp"
#include "core/host/process_runner.hpp"
#include "core/host/rtnetlink.hpp"
#include "core/host/sysfs_facts.hpp"

namespace corvane {

// The host's network cards: what exists, which of them the user may pick, and the facts
// about each. Host queries block briefly and fail soft (empty lists, no value, link down);
// call them away from a user interface thread.
class Interfaces {
public:
    struct MediaStatus {
        bool linkUp = false;
        std::optional<std::string> description;
        friend bool operator==(const MediaStatus&, const MediaStatus&) = default;
    };

    // The network service that configures a card: a NetworkManager connection, or the
    // interface itself where NetworkManager does not manage it.
    struct ServiceConfig {
        std::string name;
        NetworkCard::ConfigMethod method;
        bool managedByNetworkManager = false;
        friend bool operator==(const ServiceConfig&, const ServiceConfig&) = default;
    };

    // Every interface the kernel lists, in its order.
    static std::vector<NetworkCard> list(const ProcessRunner& runner = ProcessRunner());
    // The cards offered to the user: wired ones named en* or eth*, never Thunderbolt, with
    // link unless `showDisconnected`; virtual Ethernet cards after them when switched on.
    static std::vector<NetworkCard> offered(const std::vector<NetworkCard>& cards,
                                            bool showDisconnected, bool showVirtualCards = false);
    // The card to select: the current one while the server runs; else the current one if it
    // is still a candidate, the remembered card, the first with link, the first at all.
    static std::optional<std::string> preferredCardID(const std::vector<NetworkCard>& cards,
                                                      const std::optional<std::string>& current,
                                                      const std::optional<MACAddress>& remembered,
                                                      bool isRunning,
                                                      bool showVirtualCards = false);
    // The card with this MAC and of this kind (Rtnetlink::Link::kind: empty for hardware,
    // "veth"...). A bridge, bond or VLAN takes the MAC of a card it holds, and must never
    // be taken for the card itself.
    static std::optional<std::string> bsdName(const MACAddress& mac, std::string_view kind);
    // The kind of the card with this name; no value when there is none.
    static std::optional<std::string> linkKind(const std::string& bsdName);
    static MediaStatus mediaStatus(const std::string& bsdName);
    // The same, but no value when the kernel could not be asked, which is not a link down.
    static std::optional<MediaStatus> readMediaStatus(const std::string& bsdName);
    // Speed in Mb/s and duplex as ethtool reports them (DUPLEX_HALF, DUPLEX_FULL, or
    // unknown); an unknown speed has no description.
    static std::optional<std::string> describeMedia(std::uint32_t speed, std::uint8_t duplex);
    static std::vector<InterfaceAddress> interfaceAddresses();
    static std::map<std::string, ServiceConfig>
    serviceConfigs(const ProcessRunner& runner = ProcessRunner());
    // The same from gathered facts: NetworkManager's profile for each link it manages (by
    // name and hardware address, since a device of another network namespace may share
    // the name), else the link itself with the method its kernel addresses show.
    static std::map<std::string, ServiceConfig>
    serviceConfigs(const std::vector<Rtnetlink::Link>& links,
                   const std::vector<Rtnetlink::Address>& addresses,
                   const std::vector<NetworkManager::Device>& managedDevices,
                   const std::map<std::string, ServiceConfig>& profiles);
    static bool
    isManagedByNetworkManager(const Rtnetlink::Link& link,
                              const std::vector<NetworkManager::Device>& managedDevices);
    // The method of a NetworkManager connection from its "ipv4.method" and
    // "ipv4.addresses" settings.
    static NetworkCard::ConfigMethod method(const std::map<std::string, std::string>& settings);
    // The interface of the IPv4 default route with the lowest metric.
    static std::optional<std::string> primaryInterface();
    static NetworkCard::Kind kind(const Rtnetlink::Link& link, const SysfsFacts& facts);
};

} // namespace corvane
