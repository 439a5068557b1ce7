#pragma once

#include <optional>
#include <vector>

#include "core/config/server_config.hpp"
#include "core/host/interface_address.hpp"
#include "core/host/network_card.hpp"
#include "core/host/other_server_probe.hpp"
#include "core/host/port67_state.hpp"

namespace corvane {

// Every host fact the checks look at, gathered once so that judging them is pure.
struct PreflightInput {
    NetworkCard card;
    // Every IPv4 address of the host, the chosen card's included.
    std::vector<InterfaceAddress> otherAddresses;
    ServerConfig config;
    Port67State port67 = Port67Free{};
    bool vmwareRunning = false;
    // The user's switch that lets virtual Ethernet cards pass as wired.
    bool showVirtualCards = false;
    // What one DISCOVER from the card brought back; absent when the look was not made (it
    // takes seconds, so it runs only when the card or the settings change).
    std::optional<OtherServerResult> otherServer;

    friend bool operator==(const PreflightInput&, const PreflightInput&) = default;
};

} // namespace corvane
