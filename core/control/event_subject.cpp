#include "core/control/event_subject.hpp"

namespace corvane {
namespace {

struct SubjectOf {
    std::optional<MACAddress> operator()(const ServerEvent::Received& event) const {
        return event.packet.mac;
    }
    std::optional<MACAddress> operator()(const ServerEvent::Sent& event) const {
        return event.reply.mac;
    }
    std::optional<MACAddress> operator()(const ServerEvent::Dropped& event) const {
        return event.mac;
    }
    std::optional<MACAddress> operator()(const ServerEvent::LeaseChanged& event) const {
        return event.lease.mac;
    }
    std::optional<MACAddress> operator()(const ServerEvent::LeaseRemoved& event) const {
        return event.mac;
    }
    std::optional<MACAddress> operator()(const ServerEvent::Presence& event) const {
        return event.mac;
    }
    template <typename Other> std::optional<MACAddress> operator()(const Other&) const {
        return std::nullopt;
    }
};

} // namespace

std::optional<MACAddress> eventSubject(const ServerEvent& event) {
    return std::visit(SubjectOf{}, event.value());
}

} // namespace corvane
