#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace corvane {

// The drop reason for a datagram that the kernel says arrived on a card other than the
// served one, or none when it came in on the served card or carries no arrival record.
// SO_BINDTODEVICE already filters by card; this is the check that the filter held.
std::optional<std::string> wrongCardReason(std::optional<std::uint32_t> arrivalIndex,
                                           std::uint32_t servedIndex,
                                           const std::string& servedName);

} // namespace corvane
