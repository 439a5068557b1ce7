#include "core/host/preflight.hpp"

#include <algorithm>

#include "core/host/host_texts.hpp"

namespace corvane {
namespace {

int clampedPrefix(std::int64_t prefix) {
    return static_cast<int>(std::clamp<std::int64_t>(prefix, 0, 32));
}

bool agreeInTopBits(IPv4Address one, IPv4Address other, int prefix) {
    return ((one.value() ^ other.value()) & maskBits(prefix)) == 0;
}

PreflightCheck check(PreflightCheck::ID id, PreflightCheck::Status status, std::string message,
                     std::optional<PreflightCheck::Fix> fix = std::nullopt) {
    return {id, status, std::move(message), std::move(fix)};
}

PreflightCheck wiredCheck(const PreflightInput& input) {
    using enum PreflightCheck::Status;
    const auto& card = input.card;
    const bool allowedVirtual =
        input.showVirtualCards && card.kind == NetworkCard::Kind::other && card.isVirtualEthernet;
    if (card.kind != NetworkCard::Kind::ethernet && !allowedVirtual) {
        return check(PreflightCheck::ID::wired, fail, host_texts::notWiredCard(card.displayName));
    }
    if (card.isPrimary) {
        return check(PreflightCheck::ID::wired, fail,
                     host_texts::mainInternetConnection(card.displayName));
    }
    return check(
        PreflightCheck::ID::wired, pass,
        std::string(allowedVirtual ? host_texts::virtualEthernetCard : host_texts::wiredCard));
}

PreflightCheck foreignDHCPCheck(const NetworkCard& card) {
    if (std::holds_alternative<NetworkCard::DHCP>(card.configMethod)) {
        const auto leased =
            std::find_if(card.addresses.begin(), card.addresses.end(),
                         [](const Subnet& entry) { return !entry.address.isLinkLocal(); });
        if (leased != card.addresses.end()) {
            return check(PreflightCheck::ID::foreignDHCP, PreflightCheck::Status::fail,
                         host_texts::foreignDHCPServer(leased->address.description()));
        }
    }
    return check(PreflightCheck::ID::foreignDHCP, PreflightCheck::Status::pass,
                 std::string(host_texts::noForeignDHCPServer));
}

PreflightCheck adapterCheck(const NetworkCard& card, const ServerConfig& config) {
    const auto serverText =
        config.serverIP.description() + "/" + std::to_string(config.prefixLength);
    const auto* manual = std::get_if<NetworkCard::Manual>(&card.configMethod);
    if (manual != nullptr && manual->ip == config.serverIP && manual->mask == config.mask()) {
        return check(
            PreflightCheck::ID::adapterConfigured, PreflightCheck::Status::pass,
            host_texts::adapterSet(card.serviceName.value_or(card.displayName), serverText));
    }
    if (card.serviceName) {
        return check(PreflightCheck::ID::adapterConfigured, PreflightCheck::Status::fail,
                     host_texts::adapterNotSet(serverText),
                     PreflightCheck::ConfigureAdapter{*card.serviceName});
    }
    return check(PreflightCheck::ID::adapterConfigured, PreflightCheck::Status::fail,
                 host_texts::noNetworkService(card.displayName));
}

// Addresses on the card itself, on loopback and on point-to-point links (VPNs, judged
// separately) cannot collide with the served network.
bool canOverlap(const InterfaceAddress& other, const NetworkCard& card) {
    return other.name != card.bsdName && other.name != "lo" && !other.isPointToPoint;
}

PreflightCheck subnetOverlapCheck(const PreflightInput& input, const Subnet& served) {
    for (const auto& other : input.otherAddresses) {
        if (!canOverlap(other, input.card)) {
            continue;
        }
        const Subnet otherSubnet{other.subnet.address, clampedPrefix(other.subnet.prefixLength)};
        const int shorter = std::min(served.prefixLength, otherSubnet.prefixLength);
        if (agreeInTopBits(served.address, otherSubnet.address, shorter)) {
            return check(PreflightCheck::ID::subnetOverlap, PreflightCheck::Status::fail,
                         host_texts::subnetOverlap(served.description(), otherSubnet.description(),
                                                   other.name));
        }
    }
    return check(PreflightCheck::ID::subnetOverlap, PreflightCheck::Status::pass,
                 std::string(host_texts::noSubnetOverlap));
}

std::optional<PreflightCheck> vpnOverlapCheck(const PreflightInput& input, const Subnet& served) {
    for (const auto& other : input.otherAddresses) {
        if (!other.isPointToPoint || other.name == input.card.bsdName) {
            continue;
        }
        if (agreeInTopBits(served.address, other.subnet.address, served.prefixLength)) {
            return check(PreflightCheck::ID::vpnOverlap, PreflightCheck::Status::warn,
                         host_texts::vpnInsideSubnet(other.subnet.address.description(), other.name,
                                                     served.description()));
        }
    }
    return std::nullopt;
}

PreflightCheck port67Check(const Port67State& state) {
    using enum PreflightCheck::Status;
    if (const auto* inUse = std::get_if<Port67InUse>(&state)) {
        return check(PreflightCheck::ID::port67, fail,
                     host_texts::portInUse(
                         inUse->holder.value_or(std::string(host_texts::unknownPortHolder))));
    }
    if (const auto* error = std::get_if<Port67Error>(&state)) {
        return check(PreflightCheck::ID::port67, fail, host_texts::portCannotOpen(error->text));
    }
    return check(PreflightCheck::ID::port67, pass, std::string(host_texts::portFree));
}

PreflightCheck linkCheck(const NetworkCard& card) {
    if (card.linkUp) {
        return check(
            PreflightCheck::ID::link, PreflightCheck::Status::pass,
            host_texts::linkUp(card.media.value_or(std::string(host_texts::connectedMedia))));
    }
    return check(PreflightCheck::ID::link, PreflightCheck::Status::warn,
                 std::string(host_texts::noLink));
}

} // namespace

std::vector<PreflightCheck> Preflight::evaluate(const PreflightInput& input) {
    const Subnet served{input.config.serverIP, clampedPrefix(input.config.prefixLength)};
    std::vector<PreflightCheck> checks;
    checks.push_back(wiredCheck(input));
    checks.push_back(foreignDHCPCheck(input.card));
    checks.push_back(adapterCheck(input.card, input.config));
    checks.push_back(subnetOverlapCheck(input, served));
    if (auto vpn = vpnOverlapCheck(input, served)) {
        checks.push_back(std::move(*vpn));
    }
    checks.push_back(port67Check(input.port67));
    checks.push_back(linkCheck(input.card));
    if (input.vmwareRunning) {
        checks.push_back(check(PreflightCheck::ID::vmware, PreflightCheck::Status::warn,
                               std::string(host_texts::vmwareRunning)));
    }
    if (input.otherServer) {
        checks.push_back(Preflight::otherServerCheck(*input.otherServer, input.card));
    }
    return checks;
}

// An answering server is a warning, not a failure: the user may serve anyway, knowing that
// a device can take the other server's offer.
PreflightCheck Preflight::otherServerCheck(const OtherServerResult& result,
                                           const NetworkCard& card) {
    using enum PreflightCheck::Status;
    if (const auto* answer = std::get_if<OtherServerAnswer>(&result)) {
        return check(PreflightCheck::ID::otherServer, warn,
                     host_texts::otherServerAnswers(answer->address.description(),
                                                    answer->mac.description(), card.bsdName));
    }
    if (const auto* unknown = std::get_if<OtherServerUnknown>(&result)) {
        return check(PreflightCheck::ID::otherServer, warn,
                     host_texts::otherServerUnknown(card.bsdName, unknown->reason));
    }
    return check(PreflightCheck::ID::otherServer, pass, host_texts::noOtherServer(card.bsdName));
}

bool Preflight::canStart(const std::vector<PreflightCheck>& checks) {
    return std::none_of(checks.begin(), checks.end(), [](const PreflightCheck& entry) {
        return entry.status == PreflightCheck::Status::fail;
    });
}

std::string_view idName(PreflightCheck::ID id) {
    switch (id) {
    case PreflightCheck::ID::wired:
        return "wired";
    case PreflightCheck::ID::foreignDHCP:
        return "foreignDHCP";
    case PreflightCheck::ID::adapterConfigured:
        return "adapterConfigured";
    case PreflightCheck::ID::subnetOverlap:
        return "subnetOverlap";
    case PreflightCheck::ID::vpnOverlap:
        return "vpnOverlap";
    case PreflightCheck::ID::port67:
        return "port67";
    case PreflightCheck::ID::link:
        return "link";
    case PreflightCheck::ID::vmware:
        return "vmware";
    case PreflightCheck::ID::otherServer:
        return "otherServer";
    }
    return "wired";
}

std::string_view statusName(PreflightCheck::Status status) {
    switch (status) {
    case PreflightCheck::Status::pass:
        return "pass";
    case PreflightCheck::Status::warn:
        return "warn";
    case PreflightCheck::Status::fail:
        return "fail";
    }
    return "fail";
}

std::string_view statusSymbol(PreflightCheck::Status status) {
    switch (status) {
    case PreflightCheck::Status::pass:
        return "\u2713";
    case PreflightCheck::Status::warn:
        return "\u26a0";
    case PreflightCheck::Status::fail:
        return "\u2717";
    }
    return "\u2717";
}

} // namespace corvane
