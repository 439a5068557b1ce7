#include "core/events/corvane_state.hpp"

#include <algorithm>

namespace corvane {
namespace {

// Folds each case in; a struct of overloads keeps the one rule per case together.
struct EventFolder {
    CorvaneState& state;
    TimePoint at;

    void operator()(const ServerEvent::Started& started) const {
        state.serverInterface = started.interface;
    }
    void operator()(const ServerEvent::Received&) const { state.lastPacketAt = at; }
    void operator()(const ServerEvent::Sent& sent) const {
        // Found means acknowledged for the very address the lease holds; an offer is not
        // enough, and neither is an ACK that disagrees with the table.
        if (sent.reply.type != DHCPMessageType::ack) {
            return;
        }
        const auto lease = state.leases.find(sent.reply.mac);
        if (lease != state.leases.end() && lease->second.ip == sent.reply.ip) {
            state.deviceFound = lease->second;
        }
    }
    void operator()(const ServerEvent::Dropped&) const {}
    void operator()(const ServerEvent::LeaseChanged& changed) const {
        state.leases.insert_or_assign(changed.lease.mac, changed.lease);
        if (state.deviceFound && state.deviceFound->mac == changed.lease.mac) {
            state.deviceFound = changed.lease;
        }
    }
    void operator()(const ServerEvent::LeaseRemoved& removed) const {
        state.leases.erase(removed.mac);
        if (state.deviceFound && state.deviceFound->mac == removed.mac) {
            state.deviceFound.reset();
        }
    }
    void operator()(const ServerEvent::Presence& presence) const {
        state.presence.insert_or_assign(presence.ip, presence.state);
    }
    void operator()(const ServerEvent::Link&) const {}
    void operator()(const ServerEvent::NoticeRaised& raised) const { state.raise(raised.notice); }
    void operator()(const ServerEvent::NoticeCleared& cleared) const {
        state.notices.erase(cleared.kind);
    }
    void operator()(const ServerEvent::Info&) const {}
    void operator()(const ServerEvent::Stopped&) const {
        std::erase_if(state.notices,
                      [](const auto& entry) { return CorvaneState::isRunScoped(entry.first); });
        state.presence.clear();
        state.serverInterface.reset();
    }
};

} // namespace

bool CorvaneState::isRunScoped(NoticeKind kind) {
    return std::find(runScoped.begin(), runScoped.end(), kind) != runScoped.end();
}

void CorvaneState::runStarted(const std::string& interface) {
    notices.clear();
    presence.clear();
    deviceFound.reset();
    lastPacketAt.reset();
    serverInterface = interface;
}

void CorvaneState::loadLeases(const LeaseFile::LoadResult& result) {
    leases.clear();
    for (const auto& lease : result.table.leases()) {
        leases.try_emplace(lease.mac, lease);
    }
    if (result.setAsideURL) {
        raise(Notice::leaseFileSetAside(*result.setAsideURL, result.table.leases().size()));
    }
}

void CorvaneState::raise(const Notice& notice) {
    notices.insert_or_assign(notice.id(), notice);
}

void CorvaneState::dismiss(NoticeKind kind) {
    notices.erase(kind);
}

void CorvaneState::apply(const ServerEvent& event, TimePoint at) {
    std::visit(EventFolder{*this, at}, event.value());
}

} // namespace corvane
