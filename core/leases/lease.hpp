#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"

namespace corvane {

// Every point in time the engine passes around; pure code receives it as `now`.
using TimePoint = std::chrono::system_clock::time_point;

// What the server remembers about one client, identified by its hardware address.
struct Lease {
    // Only `offered` and `bound` can hold an address.
    enum class State { offered, bound, released, reclaimed };

    MACAddress mac;
    IPv4Address ip;
    State state = State::offered;
    TimePoint expiresAt;
    std::optional<std::string> hostname;
    std::optional<std::string> vendorClass;
    std::optional<std::string> clientID;
    TimePoint firstSeen;
    TimePoint lastSeen;

    // The expiry instant itself already counts as expired.
    bool isExpired(TimePoint now) const { return now >= expiresAt; }
    bool holdsAddress(TimePoint now) const {
        return (state == State::offered || state == State::bound) && now < expiresAt;
    }

    friend bool operator==(const Lease&, const Lease&) = default;
};

std::string_view leaseStateName(Lease::State state);
std::optional<Lease::State> leaseStateNamed(std::string_view name);

// Times are written as ISO 8601 text; the optional texts are left out when absent and
// read as absent when missing or null. A bad address, state or time throws DecodingError.
void to_json(nlohmann::json& document, const Lease& lease);
void from_json(const nlohmann::json& document, Lease& lease);

} // namespace corvane
