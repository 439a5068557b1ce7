#include "core/config/config_error.hpp"

#include "core/config/config_texts.hpp"

namespace corvane {

std::optional<std::int64_t> ConfigError::prefix() const {
    if (const auto* prefix = std::get_if<std::int64_t>(&payload_)) {
        return *prefix;
    }
    return std::nullopt;
}

std::optional<Subnet> ConfigError::subnet() const {
    if (const auto* subnet = std::get_if<Subnet>(&payload_)) {
        return *subnet;
    }
    return std::nullopt;
}

std::string ConfigError::description() const {
    switch (kind_) {
    case Kind::prefixOutOfBounds:
        return config_texts::prefixOutOfBounds(*prefix());
    case Kind::rangeOutsideSubnet:
        return config_texts::rangeOutsideSubnet(*subnet());
    case Kind::gatewayOutsideSubnet:
        return config_texts::gatewayOutsideSubnet(*subnet());
    case Kind::serverIPIsNetworkOrBroadcast:
        return std::string(config_texts::serverIPIsNetworkOrBroadcast);
    case Kind::rangeReversed:
        return std::string(config_texts::rangeReversed);
    case Kind::rangeIncludesNetworkOrBroadcast:
        return std::string(config_texts::rangeIncludesNetworkOrBroadcast);
    case Kind::serverIPInsideRange:
        return std::string(config_texts::serverIPInsideRange);
    case Kind::leaseTimeOutOfBounds:
        return std::string(config_texts::leaseTimeOutOfBounds);
    case Kind::tooManyDNSServers:
        return std::string(config_texts::tooManyDNSServers);
    }
    return {};
}

} // namespace corvane
