#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/events/notice.hpp"
#include "core/events/notice_kind.hpp"
#include "core/events/server_event.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_file.hpp"
#include "core/presence/presence_state.hpp"

namespace corvane {

// The picture of one serving run that the application shows. A plain value changed only by
// folding server events into it and by a few direct calls; it does no input or output.
struct CorvaneState {
    std::map<MACAddress, Lease> leases;
    std::map<IPv4Address, PresenceState> presence;
    std::map<NoticeKind, Notice> notices;
    // The device that completed a DHCP exchange in this run.
    std::optional<Lease> deviceFound;
    std::optional<TimePoint> lastPacketAt;
    // The card being served; absent while no run is active.
    std::optional<std::string> serverInterface;

    // Notices that describe the live server and end with the run; the others stay until
    // cleared or dismissed.
    static constexpr std::array<NoticeKind, 3> runScoped = {
        NoticeKind::linkDown, NoticeKind::adapterUnplugged, NoticeKind::localNetworkDenied};
    static bool isRunScoped(NoticeKind kind);

    // Opens a new run on the card; leases are kept, everything else about a run starts over.
    void runStarted(const std::string& interface);
    // Replaces the leases with a freshly loaded table, and raises the set-aside notice when
    // the file had to be moved out of the way. Should the table hold two records for one
    // client, the first one counts, as it does for LeaseTable lookups.
    void loadLeases(const LeaseFile::LoadResult& result);
    void raise(const Notice& notice);
    // The user closed the banner.
    void dismiss(NoticeKind kind);
    // Folds in one event, received by the application at `at`.
    void apply(const ServerEvent& event, TimePoint at);

    friend bool operator==(const CorvaneState&, const CorvaneState&) = default;
};

} // namespace corvane
