#include "core/leases/lease.hpp"

#include <array>

#include "core/address/address_json.hpp"
#include "core/leases/iso8601.hpp"

namespace corvane {

namespace {

constexpr std::array allStates = {Lease::State::offered, Lease::State::bound,
                                  Lease::State::released, Lease::State::reclaimed};

void writeOptionalText(nlohmann::json& document, const char* key,
                       const std::optional<std::string>& text) {
    if (text) {
        document[key] = *text;
    }
}

std::optional<std::string> readOptionalText(const nlohmann::json& document, const char* key) {
    const auto found = document.find(key);
    if (found == document.end() || found->is_null()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

} // namespace

std::string_view leaseStateName(Lease::State state) {
    switch (state) {
    case Lease::State::offered:
        return "offered";
    case Lease::State::bound:
        return "bound";
    case Lease::State::released:
        return "released";
    case Lease::State::reclaimed:
        return "reclaimed";
    }
    return "offered";
}

std::optional<Lease::State> leaseStateNamed(std::string_view name) {
    for (const auto state : allStates) {
        if (leaseStateName(state) == name) {
            return state;
        }
    }
    return std::nullopt;
}

void to_json(nlohmann::json& document, const Lease& lease) {
    document = nlohmann::json::object();
    document["mac"] = lease.mac;
    document["ip"] = lease.ip;
    document["state"] = leaseStateName(lease.state);
    document["expiresAt"] = formatISO8601(lease.expiresAt);
    writeOptionalText(document, "hostname", lease.hostname);
    writeOptionalText(document, "vendorClass", lease.vendorClass);
    writeOptionalText(document, "clientID", lease.clientID);
    document["firstSeen"] = formatISO8601(lease.firstSeen);
    document["lastSeen"] = formatISO8601(lease.lastSeen);
}

void from_json(const nlohmann::json& document, Lease& lease) {
    const auto stateName = document.at("state").get<std::string>();
    const auto state = leaseStateNamed(stateName);
    if (!state) {
        throw DecodingError("Not a lease state: " + stateName);
    }
    lease.mac = document.at("mac").get<MACAddress>();
    lease.ip = document.at("ip").get<IPv4Address>();
    lease.state = *state;
    lease.expiresAt = timePointFromJSON(document.at("expiresAt"));
    lease.hostname = readOptionalText(document, "hostname");
    lease.vendorClass = readOptionalText(document, "vendorClass");
    lease.clientID = readOptionalText(document, "clientID");
    lease.firstSeen = timePointFromJSON(document.at("firstSeen"));
    lease.lastSeen = timePointFromJSON(document.at("lastSeen"));
}

} // namespace corvane
