#include "core/config/server_config.hpp"

#include <algorithm>
#include <limits>
#include <string>

#include "core/address/address_json.hpp"
#include "core/presence/timing.hpp"

namespace corvane {
namespace {

constexpr int clampedPrefix(std::int64_t prefixLength) {
    return static_cast<int>(std::clamp<std::int64_t>(prefixLength, 0, 32));
}

constexpr std::int64_t smallestValidPrefix = 8;
constexpr std::int64_t largestValidPrefix = 30;
constexpr std::size_t mostDNSServers = 3;

} // namespace

ServerConfig ServerConfig::defaultConfig() {
    return ServerConfig{
        .serverIP = IPv4Address(192, 168, 0, 1),
        .prefixLength = 24,
        .rangeStart = IPv4Address(192, 168, 0, 100),
        .rangeEnd = IPv4Address(192, 168, 0, 200),
        .leaseSeconds = 86400,
        .router = std::nullopt,
        .dns = {},
    };
}

Subnet ServerConfig::subnet() const {
    return Subnet{serverIP, clampedPrefix(prefixLength)};
}

IPv4Address ServerConfig::mask() const {
    return IPv4Address(maskBits(clampedPrefix(prefixLength)));
}

IPv4Address ServerConfig::broadcastAddress() const {
    return IPv4Address(serverIP.value() | ~mask().value());
}

std::uint32_t ServerConfig::renewalSeconds() const {
    return leaseSeconds >> 1;
}

std::uint32_t ServerConfig::rebindingSeconds() const {
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(leaseSeconds) * 7 / 8);
}

AddressRange ServerConfig::range() const {
    return AddressRange::ordered(rangeStart, rangeEnd);
}

std::int64_t ServerConfig::rangeCount() const {
    if (rangeEnd < rangeStart) {
        return 0;
    }
    return AddressRange{rangeStart, rangeEnd}.count();
}

bool ServerConfig::inRange(IPv4Address ip) const {
    return rangeStart <= ip && ip <= rangeEnd;
}

std::vector<ConfigError> ServerConfig::validate() const {
    if (prefixLength < smallestValidPrefix || prefixLength > largestValidPrefix) {
        return {ConfigError::prefixOutOfBounds(prefixLength)};
    }
    std::vector<ConfigError> errors;
    const Subnet own = subnet();
    const IPv4Address network = own.network();
    const IPv4Address broadcast = own.broadcast();

    if (serverIP == network || serverIP == broadcast) {
        errors.push_back(ConfigError::serverIPIsNetworkOrBroadcast());
    }
    if (rangeEnd < rangeStart) {
        errors.push_back(ConfigError::rangeReversed());
    }
    if (own.contains(rangeStart) && own.contains(rangeEnd)) {
        const AddressRange pool = range();
        if (pool.contains(network) || pool.contains(broadcast)) {
            errors.push_back(ConfigError::rangeIncludesNetworkOrBroadcast());
        }
    } else {
        errors.push_back(ConfigError::rangeOutsideSubnet(own));
    }
    if (inRange(serverIP)) {
        errors.push_back(ConfigError::serverIPInsideRange());
    }
    if (router && !own.contains(*router)) {
        errors.push_back(ConfigError::gatewayOutsideSubnet(own));
    }
    if (leaseSeconds < Timing::minimumLease || leaseSeconds > Timing::maximumLease) {
        errors.push_back(ConfigError::leaseTimeOutOfBounds());
    }
    if (dns.size() > mostDNSServers) {
        errors.push_back(ConfigError::tooManyDNSServers());
    }
    return errors;
}

namespace {

const nlohmann::json& requiredMember(const nlohmann::json& document, const char* key) {
    const auto found = document.find(key);
    if (found == document.end()) {
        throw DecodingError(std::string("Missing key \"") + key +
                            "\" in the server configuration.");
    }
    return *found;
}

DecodingError wrongType(const char* key, const char* expected) {
    return DecodingError(std::string("Key \"") + key + "\" of the server configuration must be " +
                         expected + ".");
}

IPv4Address decodeAddress(const nlohmann::json& value, const char* key) {
    if (!value.is_string()) {
        throw wrongType(key, "an address string");
    }
    return value.get<IPv4Address>();
}

// Only JSON integers count: 24.5, "24" or true are a wrong type, not something to round.
template <typename Integer> Integer decodeInteger(const nlohmann::json& value, const char* key) {
    using Limits = std::numeric_limits<Integer>;
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number <= static_cast<std::uint64_t>(Limits::max())) {
            return static_cast<Integer>(number);
        }
    } else if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        if (number >= static_cast<std::int64_t>(Limits::min()) &&
            (number < 0 ||
             static_cast<std::uint64_t>(number) <= static_cast<std::uint64_t>(Limits::max()))) {
            return static_cast<Integer>(number);
        }
    } else {
        throw wrongType(key, "an integer");
    }
    throw DecodingError(std::string("Key \"") + key +
                        "\" of the server configuration is out of range.");
}

} // namespace

void to_json(nlohmann::json& document, const ServerConfig& config) {
    document = nlohmann::json::object();
    document["serverIP"] = config.serverIP;
    document["prefixLength"] = config.prefixLength;
    document["rangeStart"] = config.rangeStart;
    document["rangeEnd"] = config.rangeEnd;
    document["leaseSeconds"] = config.leaseSeconds;
    if (config.router) {
        document["router"] = *config.router;
    }
    document["dns"] = config.dns;
}

void from_json(const nlohmann::json& document, ServerConfig& config) {
    if (!document.is_object()) {
        throw DecodingError("A server configuration must be a JSON object.");
    }
    ServerConfig decoded;
    decoded.serverIP = decodeAddress(requiredMember(document, "serverIP"), "serverIP");
    decoded.prefixLength =
        decodeInteger<std::int64_t>(requiredMember(document, "prefixLength"), "prefixLength");
    decoded.rangeStart = decodeAddress(requiredMember(document, "rangeStart"), "rangeStart");
    decoded.rangeEnd = decodeAddress(requiredMember(document, "rangeEnd"), "rangeEnd");
    decoded.leaseSeconds =
        decodeInteger<std::uint32_t>(requiredMember(document, "leaseSeconds"), "leaseSeconds");
    if (const auto router = document.find("router");
        router != document.end() && !router->is_null()) {
        decoded.router = decodeAddress(*router, "router");
    }
    const auto& dns = requiredMember(document, "dns");
    if (!dns.is_array()) {
        throw wrongType("dns", "an array of address strings");
    }
    for (const auto& server : dns) {
        decoded.dns.push_back(decodeAddress(server, "dns"));
    }
    config = std::move(decoded);
}

} // namespace corvane
