#pragma once

#include <cstdint>
#include <string>

#include "core/host/setup_command.hpp"

namespace corvane {

// An administrator command shown to the user before it runs, or after it failed so that it
// can be run by hand in a terminal.
struct PendingCommand {
    std::int64_t id = 0;
    // The question the confirmation asks, such as "Configure Wired 1 as 192.168.0.1/24?".
    std::string title;
    SetupCommand command;
    // The network service the command changes.
    std::string service;

    friend bool operator==(const PendingCommand&, const PendingCommand&) = default;

    // True when a step empties the card of its addresses before setting the new one
    // (iproute2's form), which drops whatever else used them.
    bool removesAddresses() const {
        for (const auto& step : command.steps) {
            if (step.starts_with("ip address flush")) {
                return true;
            }
        }
        return false;
    }
};

} // namespace corvane
