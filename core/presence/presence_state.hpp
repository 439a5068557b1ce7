#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/address/address_json.hpp"

namespace corvane {

// What the last probe of a leased address said about the device behind it.
enum class PresenceState { unknown, online, offline, conflict };

constexpr std::string_view presenceStateName(PresenceState state) {
    switch (state) {
    case PresenceState::unknown:
        return "unknown";
    case PresenceState::online:
        return "online";
    case PresenceState::offline:
        return "offline";
    case PresenceState::conflict:
        return "conflict";
    }
    return "unknown";
}

inline std::optional<PresenceState> presenceStateNamed(std::string_view name) {
    for (const auto state : {PresenceState::unknown, PresenceState::online, PresenceState::offline,
                             PresenceState::conflict}) {
        if (presenceStateName(state) == name) {
            return state;
        }
    }
    return std::nullopt;
}

inline void to_json(nlohmann::json& document, PresenceState state) {
    document = std::string(presenceStateName(state));
}

inline void from_json(const nlohmann::json& document, PresenceState& state) {
    const auto name = document.get<std::string>();
    const auto parsed = presenceStateNamed(name);
    if (!parsed) {
        throw DecodingError("Not a presence state: " + name);
    }
    state = *parsed;
}

} // namespace corvane
