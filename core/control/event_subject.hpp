#pragma once

#include <optional>

#include "core/address/mac_address.hpp"
#include "core/events/server_event.hpp"

namespace corvane {

// The device an event is about, when it is about one: what `corvane events --mac` follows.
std::optional<MACAddress> eventSubject(const ServerEvent& event);

} // namespace corvane
