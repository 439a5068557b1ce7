#include "core/presence/timing.hpp"
#include "core/responder/responder_texts.hpp"
#include "core/responder/responder_worker.hpp"

namespace corvane {

// A reserved device is offered its address even outside the range and even while another
// device's older lease holds it; only a recent DECLINE of it holds the offer back.
void ResponderWorker::discoverReserved(const Reservation& reservation) {
    const auto ip = reservation.ip;
    if (table_.isQuarantined(ip, now_)) {
        drop(responder_texts::reservedDeclinedRecently(ip), mac_);
        return;
    }
    if (clientHolds(ip) && client_->state == Lease::State::bound) {
        client_->lastSeen = now_;
        table_.upsert(*client_);
    } else {
        takeReservedAddress(ip);
        assign(ip, Lease::State::offered, now_ + Timing::offerHold, std::nullopt);
    }
    reply(DHCPMessageType::offer, ip, true);
}

// Whatever state the client is in (selecting, rebooting, renewing), the only address it can
// have is its reservation; a NAK for any other sends it back to DISCOVER, which offers it.
void ResponderWorker::requestReserved(const Reservation& reservation) {
    auto requested = packet_.requestedIP();
    if (!requested || *requested == IPv4Address::zero) {
        requested = packet_.ciaddr;
    }
    if (*requested == IPv4Address::zero) {
        nak(responder_texts::noRequestedAddress);
    } else if (*requested != reservation.ip) {
        nak(responder_texts::notTheReservedAddress);
    } else if (table_.isQuarantined(reservation.ip, now_)) {
        nak(responder_texts::declinedRecently);
    } else {
        takeReservedAddress(reservation.ip);
        acknowledge(reservation.ip);
    }
}

void ResponderWorker::takeReservedAddress(IPv4Address ip) {
    auto holder = otherHolder(ip, mac_);
    if (!holder) {
        return;
    }
    holder->state = Lease::State::reclaimed;
    table_.upsert(*holder);
    note(ServerEvent::LeaseChanged{*holder});
    note(ServerEvent::Info{responder_texts::reservedTakenFrom(ip, holder->mac, mac_)});
    tableChanged_ = true;
}

} // namespace corvane
