#include "core/host/network_card.hpp"

#include "core/host/host_texts.hpp"

namespace corvane {

std::string NetworkCard::addressSummary() const {
    if (addresses.empty()) {
        return std::string(host_texts::noAddress);
    }
    auto first = addresses.front().address.description();
    if (addresses.front().address.isLinkLocal()) {
        return first + std::string(host_texts::selfAssignedSuffix);
    }
    if (std::holds_alternative<Manual>(configMethod)) {
        return first + std::string(host_texts::manualSuffix);
    }
    if (std::holds_alternative<DHCP>(configMethod)) {
        return first + std::string(host_texts::dhcpSuffix);
    }
    return first;
}

std::string_view kindName(NetworkCard::Kind kind) {
    switch (kind) {
    case NetworkCard::Kind::ethernet:
        return "ethernet";
    case NetworkCard::Kind::wifi:
        return "wifi";
    case NetworkCard::Kind::bridge:
        return "bridge";
    case NetworkCard::Kind::other:
        return "other";
    }
    return "other";
}

std::string methodDescription(const NetworkCard::ConfigMethod& method) {
    if (const auto* manual = std::get_if<NetworkCard::Manual>(&method)) {
        return "manual " + manual->ip.description() + "/" + manual->mask.description();
    }
    if (const auto* other = std::get_if<NetworkCard::Other>(&method)) {
        return "other (" + other->method + ")";
    }
    if (std::holds_alternative<NetworkCard::DHCP>(method)) {
        return "DHCP";
    }
    return "none";
}

} // namespace corvane
