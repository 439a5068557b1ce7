#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/events/reply_destination.hpp"
#include "core/events/server_event.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_table.hpp"
#include "core/packet/dhcp_message_type.hpp"
#include "core/packet/dhcp_packet.hpp"
#include "core/presence/presence_state.hpp"
#include "core/presence/timing.hpp"

namespace corvane {

// The responder's answer to one client message (defined below, after its parts): what the
// runtime must do, the table as it is afterwards, whether to save it, and what to report.
struct Decision;

// Everything the responder may know when it decides: a snapshot, never the live state.
struct DecisionContext {
    LeaseTable table;
    // Last known presence of leased addresses.
    std::unordered_map<IPv4Address, PresenceState> presence;
    // Conflict probes made for this very request so far; true means the address answered.
    std::unordered_map<IPv4Address, bool> probes;
    TimePoint now;
    // Whether the runtime can look for a device on an address. Without it nothing can show
    // that a holder has gone, so an unexpired lease is never taken from its device.
    bool probingAvailable = true;
    // Until then even an address no lease holds is looked for before it is offered: after an
    // unclean stop or a failed save the table may have forgotten leases its devices still use.
    std::optional<TimePoint> probeFreeAddressesUntil = std::nullopt;

    // Each probe holds the client's reply back by up to a second, so one packet gets only a
    // few; once they are spent, unprobed holders count as present.
    bool probeBudgetExhausted() const { return probes.size() >= Timing::maxProbesPerPacket; }

    friend bool operator==(const DecisionContext&, const DecisionContext&) = default;
};

// A reply ready to be serialized and sent.
struct Reply {
    DHCPPacket packet;
    ReplyDestination destination = ReplyDestination::broadcast();
    DHCPMessageType type = DHCPMessageType::offer;
    // The address the reply is about: yiaddr for an offer or a lease, else the client's own.
    IPv4Address ip;
    MACAddress mac;
    // Shown beside the sent message in the log, such as the reason for a NAK.
    std::optional<std::string> note;

    friend bool operator==(const Reply&, const Reply&) = default;
};

// Probe this address for a live device, record the answer in `DecisionContext::probes` and
// decide again on the same packet.
struct ProbeAddress {
    IPv4Address ip;

    friend bool operator==(const ProbeAddress&, const ProbeAddress&) = default;
};

// Send nothing.
struct NoAction {
    friend bool operator==(const NoAction&, const NoAction&) = default;
};

using DecisionAction = std::variant<Reply, ProbeAddress, NoAction>;

struct Decision {
    DecisionAction action = NoAction{};
    LeaseTable table;
    bool tableChanged = false;
    // Events to report, in order.
    std::vector<ServerEvent> notes;

    friend bool operator==(const Decision&, const Decision&) = default;
};

} // namespace corvane
