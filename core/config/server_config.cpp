#include "core/config/server_config.hpp"

#include <algorithm>
#include <limits>
#include <string>

#include "core/address/address_json.hpp"
#include "core/options/option_value.hpp"
#include "core/presence/timing.hpp"

namespace corvane {
namespace {

constexpr int clampedPrefix(std::int64_t prefixLength) {
    return static_cast<int>(std::clamp<std::int64_t>(prefixLength, 0, 32));
}

constexpr std::int64_t smallestValidPrefix = 8;
constexpr std::int64_t largestValidPrefix = 30;
constexpr std::size_t mostDNSServers = 3;
// The BOOTP file field holds 128 bytes, the last one a terminating zero (RFC 951).
constexpr std::size_t longestBootFile = 127;

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

const Reservation* ServerConfig::reservationFor(const MACAddress& mac) const {
    const auto found = std::ranges::find(reservations, mac, &Reservation::mac);
    return found == reservations.end() ? nullptr : &*found;
}

bool ServerConfig::isReservedForAnother(IPv4Address ip, const MACAddress& mac) const {
    return std::ranges::any_of(reservations, [&](const Reservation& reservation) {
        return reservation.ip == ip && reservation.mac != mac;
    });
}

namespace {

void checkReservations(const ServerConfig& config, std::vector<ConfigError>& errors) {
    const Subnet own = config.subnet();
    const auto first = config.reservations.begin();
    for (auto reservation = first; reservation != config.reservations.end(); ++reservation) {
        if (!own.contains(reservation->ip) || reservation->ip == own.network() ||
            reservation->ip == own.broadcast()) {
            errors.push_back(ConfigError::reservationOutsideSubnet(*reservation, own));
        } else if (reservation->ip == config.serverIP) {
            errors.push_back(ConfigError::reservationOnServerIP(*reservation));
        }
        if (std::find_if(first, reservation, [&](const Reservation& earlier) {
                return earlier.ip == reservation->ip;
            }) != reservation) {
            errors.push_back(ConfigError::addressReservedTwice(*reservation));
        }
        if (std::find_if(first, reservation, [&](const Reservation& earlier) {
                return earlier.mac == reservation->mac;
            }) != reservation) {
            errors.push_back(ConfigError::deviceReservedTwice(*reservation));
        }
    }
}

void checkOptions(const ServerConfig& config, std::vector<ConfigError>& errors) {
    for (const auto& [code, value] : config.options) {
        if (const auto owner = serverOwnedOption(code)) {
            errors.push_back(ConfigError::optionOwnedByServer(code, *owner));
        } else if (const auto encoded = encodeOptionValue(code, value);
                   const auto* problem = std::get_if<OptionValueProblem>(&encoded)) {
            errors.push_back(ConfigError::optionValueInvalid(code, problem->sentence));
        }
    }
    if (config.bootFile.size() > longestBootFile) {
        errors.push_back(ConfigError::bootFileTooLong());
    }
}

} // namespace

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
    checkReservations(*this, errors);
    checkOptions(*this, errors);
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

Reservation decodeReservation(const nlohmann::json& entry) {
    if (!entry.is_object() || !entry.contains("mac") || !entry.contains("ip")) {
        throw DecodingError("Each entry of \"reservations\" must be an object with \"mac\" "
                            "and \"ip\", and optionally \"name\".");
    }
    const auto& mac = entry["mac"];
    const auto parsedMAC =
        mac.is_string() ? MACAddress::parse(mac.get<std::string>()) : std::nullopt;
    if (!parsedMAC) {
        throw DecodingError("Reservation \"mac\" " + mac.dump() +
                            " is not a MAC address; write it like 02:00:00:00:00:01.");
    }
    const auto& ip = entry["ip"];
    const auto parsedIP = ip.is_string() ? IPv4Address::parse(ip.get<std::string>()) : std::nullopt;
    if (!parsedIP) {
        throw DecodingError("Reservation \"ip\" " + ip.dump() +
                            " is not an IPv4 address; write it like 192.168.0.50.");
    }
    Reservation reservation{*parsedMAC, *parsedIP, {}};
    if (const auto name = entry.find("name"); name != entry.end() && !name->is_null()) {
        if (!name->is_string()) {
            throw wrongType("reservations", "objects whose \"name\" is a string");
        }
        reservation.name = name->get<std::string>();
    }
    return reservation;
}

std::string optionValueText(const nlohmann::json& value, const std::string& code) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_number_integer()) {
        return value.dump();
    }
    throw DecodingError("Option " + code +
                        " in \"options\" must have a text value, such as \"hex:0a0b0c\".");
}

// The keys a lab adds to the basic configuration; each may be left out.
void decodeLabExtras(const nlohmann::json& document, ServerConfig& config) {
    if (const auto found = document.find("reservations");
        found != document.end() && !found->is_null()) {
        if (!found->is_array()) {
            throw wrongType("reservations", "an array of objects");
        }
        for (const auto& entry : *found) {
            config.reservations.push_back(decodeReservation(entry));
        }
    }
    if (const auto found = document.find("options"); found != document.end() && !found->is_null()) {
        if (!found->is_object()) {
            throw wrongType("options", "an object from option code to value");
        }
        for (const auto& [key, value] : found->items()) {
            const auto code = parseOptionCode(key);
            if (!code) {
                throw DecodingError("Option code \"" + key +
                                    "\" in \"options\" must be a number from 1 to 254.");
            }
            config.options[*code] = optionValueText(value, key);
        }
    }
    if (const auto found = document.find("nextServer");
        found != document.end() && !found->is_null()) {
        config.nextServer = decodeAddress(*found, "nextServer");
    }
    if (const auto found = document.find("bootFile");
        found != document.end() && !found->is_null()) {
        if (!found->is_string()) {
            throw wrongType("bootFile", "a string");
        }
        config.bootFile = found->get<std::string>();
    }
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
    if (!config.reservations.empty()) {
        auto& reservations = document["reservations"] = nlohmann::json::array();
        for (const auto& reservation : config.reservations) {
            nlohmann::json entry{{"mac", reservation.mac}, {"ip", reservation.ip}};
            if (!reservation.name.empty()) {
                entry["name"] = reservation.name;
            }
            reservations.push_back(std::move(entry));
        }
    }
    if (!config.options.empty()) {
        auto& options = document["options"] = nlohmann::json::object();
        for (const auto& [code, value] : config.options) {
            options[std::to_string(code)] = value;
        }
    }
    if (config.nextServer) {
        document["nextServer"] = *config.nextServer;
    }
    if (!config.bootFile.empty()) {
        document["bootFile"] = config.bootFile;
    }
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
    decodeLabExtras(document, decoded);
    config = std::move(decoded);
}

} // namespace corvane
