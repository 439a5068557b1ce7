#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/config/server_config.hpp"
#include "core/events/notice.hpp"
#include "core/events/notice_kind.hpp"
#include "core/events/packet_summary.hpp"
#include "core/events/sent_summary.hpp"
#include "core/leases/lease.hpp"
#include "core/presence/presence_state.hpp"

namespace corvane {

// Everything the running server has to say, as one value pushed into its event stream.
// The cases are in their declared order; consumers switch over `value()` with std::visit.
class ServerEvent {
public:
    // The server is open on the card with this configuration.
    struct Started {
        std::string interface;
        ServerConfig config;
        friend bool operator==(const Started&, const Started&) = default;
    };
    // A datagram on port 67 parsed as a DHCP message.
    struct Received {
        PacketSummary packet;
        friend bool operator==(const Received&, const Received&) = default;
    };
    // A reply left the socket.
    struct Sent {
        SentSummary reply;
        friend bool operator==(const Sent&, const Sent&) = default;
    };
    // A datagram or a decision was thrown away; `reason` is a short lower-case phrase.
    struct Dropped {
        std::string reason;
        std::optional<MACAddress> mac;
        friend bool operator==(const Dropped&, const Dropped&) = default;
    };
    struct LeaseChanged {
        Lease lease;
        friend bool operator==(const LeaseChanged&, const LeaseChanged&) = default;
    };
    struct LeaseRemoved {
        MACAddress mac;
        friend bool operator==(const LeaseRemoved&, const LeaseRemoved&) = default;
    };
    // One probe of a leased address; `detail` says what answered, or that nothing did.
    struct Presence {
        IPv4Address ip;
        MACAddress mac;
        PresenceState state = PresenceState::unknown;
        std::string detail;
        friend bool operator==(const Presence&, const Presence&) = default;
    };
    // The served card's link was read or changed; `media` is absent when it has none.
    struct Link {
        bool up = false;
        std::optional<std::string> media;
        friend bool operator==(const Link&, const Link&) = default;
    };
    struct NoticeRaised {
        Notice notice;
        friend bool operator==(const NoticeRaised&, const NoticeRaised&) = default;
    };
    struct NoticeCleared {
        NoticeKind kind = NoticeKind::linkDown;
        friend bool operator==(const NoticeCleared&, const NoticeCleared&) = default;
    };
    // A free-form line for the log.
    struct Info {
        std::string text;
        friend bool operator==(const Info&, const Info&) = default;
    };
    // The server has closed; nothing follows.
    struct Stopped {
        friend bool operator==(const Stopped&, const Stopped&) = default;
    };

    using Case = std::variant<Started, Received, Sent, Dropped, LeaseChanged, LeaseRemoved,
                              Presence, Link, NoticeRaised, NoticeCleared, Info, Stopped>;

    // Any case converts to an event, so `emit(ServerEvent::Info{"..."})` reads naturally.
    template <typename EventCase>
    requires std::is_constructible_v<Case, EventCase&&> &&
        (!std::is_same_v<std::remove_cvref_t<EventCase>, ServerEvent>)
            ServerEvent(EventCase&& eventCase)
        : case_(std::forward<EventCase>(eventCase)) {}

    const Case& value() const { return case_; }
    // The payload when the event is of this case, else null.
    template <typename EventCase> const EventCase* as() const {
        return std::get_if<EventCase>(&case_);
    }
    template <typename EventCase> bool is() const {
        return std::holds_alternative<EventCase>(case_);
    }

    friend bool operator==(const ServerEvent&, const ServerEvent&) = default;

private:
    Case case_;
};

} // namespace corvane
