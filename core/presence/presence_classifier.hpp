#pragma once

#include <optional>

#include "core/address/mac_address.hpp"
#include "core/presence/presence_state.hpp"
#include "core/presence/probe_result.hpp"

namespace corvane {

// Turns what the last probe and the neighbour table said about a leased address into the
// state shown beside the lease.
struct PresenceClassifier {
    PresenceClassifier() = delete;

    // `probe` is absent before the first probe completed; `arpMAC` is the hardware address
    // the neighbour table holds for the leased address, if any.
    static PresenceState classify(const std::optional<ProbeResult>& probe,
                                  const std::optional<MACAddress>& arpMAC,
                                  const MACAddress& leaseMAC, bool linkUp);
};

} // namespace corvane
