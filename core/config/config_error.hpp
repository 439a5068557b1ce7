#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "core/address/subnet.hpp"

namespace corvane {

// One rule that a server configuration breaks. The kind decides the payload: a prefix for
// `prefixOutOfBounds`, the server's subnet for the two "outside" cases, nothing otherwise;
// the named constructors are the only way in, so the two always agree.
class ConfigError {
public:
    enum class Kind {
        prefixOutOfBounds,
        rangeOutsideSubnet,
        gatewayOutsideSubnet,
        serverIPIsNetworkOrBroadcast,
        rangeReversed,
        rangeIncludesNetworkOrBroadcast,
        serverIPInsideRange,
        leaseTimeOutOfBounds,
        tooManyDNSServers,
    };

    static ConfigError prefixOutOfBounds(std::int64_t prefix) {
        return ConfigError(Kind::prefixOutOfBounds, prefix);
    }
    static ConfigError rangeOutsideSubnet(Subnet subnet) {
        return ConfigError(Kind::rangeOutsideSubnet, subnet);
    }
    static ConfigError gatewayOutsideSubnet(Subnet subnet) {
        return ConfigError(Kind::gatewayOutsideSubnet, subnet);
    }
    static ConfigError serverIPIsNetworkOrBroadcast() {
        return ConfigError(Kind::serverIPIsNetworkOrBroadcast, {});
    }
    static ConfigError rangeReversed() { return ConfigError(Kind::rangeReversed, {}); }
    static ConfigError rangeIncludesNetworkOrBroadcast() {
        return ConfigError(Kind::rangeIncludesNetworkOrBroadcast, {});
    }
    static ConfigError serverIPInsideRange() { return ConfigError(Kind::serverIPInsideRange, {}); }
    static ConfigError leaseTimeOutOfBounds() {
        return ConfigError(Kind::leaseTimeOutOfBounds, {});
    }
    static ConfigError tooManyDNSServers() { return ConfigError(Kind::tooManyDNSServers, {}); }

    Kind kind() const { return kind_; }
    // The rejected prefix of `prefixOutOfBounds`; no value for every other kind.
    std::optional<std::int64_t> prefix() const;
    // The subnet named by the two "outside" kinds; no value for every other kind.
    std::optional<Subnet> subnet() const;
    // The sentence shown to the user under the settings field at fault.
    std::string description() const;

    friend bool operator==(const ConfigError&, const ConfigError&) = default;

private:
    using Payload = std::variant<std::monostate, std::int64_t, Subnet>;

    ConfigError(Kind kind, Payload payload) : kind_(kind), payload_(payload) {}

    Kind kind_;
    Payload payload_;
};

} // namespace corvane
