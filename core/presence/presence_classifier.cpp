#include "core/presence/presence_classifier.hpp"

namespace corvane {

PresenceState PresenceClassifier::classify(const std::optional<ProbeResult>& probe,
                                           const std::optional<MACAddress>& arpMAC,
                                           const MACAddress& leaseMAC, bool linkUp) {
    // Without a link nothing can answer, and an older answer no longer says anything.
    if (!linkUp) {
        return PresenceState::offline;
    }
    if (!probe) {
        return PresenceState::unknown;
    }
    if (!probe->answered) {
        return PresenceState::offline;
    }
    // Something answered; a different hardware address behind the leased address means
    // another device is using it.
    if (!arpMAC || *arpMAC == leaseMAC) {
        return PresenceState::online;
    }
    return PresenceState::conflict;
}

} // namespace corvane
