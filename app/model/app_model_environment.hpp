#pragma once

#include <chrono>
#include <filesystem>
#include <functional>

#include "app/model/host_queries.hpp"
#include "app/model/update_configuration.hpp"
#include "core/host/network_card.hpp"
#include "core/leases/lease.hpp"
#include "core/transport/transport_mode.hpp"

namespace corvane {

// Everything the application model takes from outside: the clock, where its files live, how
// it asks the host, and its time limits. `forUser` is the real program's; tests build their
// own so that they never touch the user's files or set globals.
struct AppModelEnvironment {
    std::function<TimePoint()> clock;
    std::filesystem::path settingsPath;
    std::filesystem::path leaseFilePath;
    std::filesystem::path logDirectory;
    HostQueries host;
    // How the server reaches the chosen card: its real DHCP ports by default.
    std::function<TransportMode(const NetworkCard& card)> transportFor;
    bool presenceEnabled = true;
    bool watchInterfaces = true;
    UpdateConfiguration updates;

    // The launch screen stays up at least this long after the model was made.
    std::chrono::milliseconds launchMinimum{1000};
    // Listing cards, naming the holder of port 67, finding the tool that configures cards.
    std::chrono::milliseconds hostQueryTimeLimit{5000};
    // A card listing that missed its time limit is asked for again after this pause.
    std::chrono::milliseconds cardListRetryDelay{2000};
    // Gathering runs a few programs, each bounded by Preflight::probeTimeLimit.
    std::chrono::milliseconds checksTimeLimit{20000};

    // The system clock, the XDG folders, this computer's cards and this build's updates.
    static AppModelEnvironment forUser();
};

} // namespace corvane
