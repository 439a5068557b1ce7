#include <asio/post.hpp>
#include <net/if.h>

#include "core/host/interfaces.hpp"
#include "core/presence/arp_table.hpp"
#include "core/presence/presence_classifier.hpp"
#include "core/presence/prober.hpp"
#include "core/presence/timing.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/server/server_texts.hpp"

namespace corvane {

void DHCPServer::armLinkWatch() {
    watchTimer_.expires_after(linkWatchInterval);
    watchTimer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        if (error) {
            return;
        }
        const auto self = weak.lock();
        if (!self || !self->running_) {
            return;
        }
        self->sweepLapsedOffers();
        self->watchLink();
        self->armLinkWatch();
    });
}

// A card is the same card only while its index stays: an unplugged USB adapter that comes
// back gets a new index, and the socket tied to the old one hears nothing any more.
void DHCPServer::watchLink() {
    if (isOpen_) {
        checkOpenCard();
    } else {
        tryReopen();
    }
}

void DHCPServer::checkOpenCard() {
    const unsigned index = if_nametoindex(interfaceName_.c_str());
    if (index == 0 || index != transport_->interfaceIndex()) {
        closeTransport();
        linkUp_ = false;
        markAllOffline(server_texts::offlineBecauseUnplugged);
        raise(Notice::adapterUnplugged());
        return;
    }
    const auto media = Interfaces::readMediaStatus(interfaceName_);
    if (!media) {
        // Not knowing is not a link down: no notice, and nobody is marked offline.
        if (!linkReadFailed_) {
            linkReadFailed_ = true;
            emit(ServerEvent::Info{std::string(server_texts::linkStateUnreadable)});
        }
        return;
    }
    linkReadFailed_ = false;
    if (media->linkUp == linkUp_) {
        return;
    }
    linkUp_ = media->linkUp;
    emit(ServerEvent::Link{media->linkUp, media->description});
    if (linkUp_) {
        clear(NoticeKind::linkDown);
        runPresenceCycle();
    } else {
        raise(Notice::linkDown(interfaceName_));
        markAllOffline(server_texts::offlineBecauseLinkDown);
    }
}

// The card may come back under another name (a USB adapter in another port), so it is
// looked for by its hardware address and kind first and by its old name only when that
// fails.
void DHCPServer::tryReopen() {
    std::optional<std::string> found;
    if (options_.cardMAC) {
        found = Interfaces::bsdName(*options_.cardMAC, cardKind_);
    }
    if (found) {
        interfaceName_ = *found;
    } else if (if_nametoindex(interfaceName_.c_str()) == 0) {
        return;
    }
    try {
        openTransport();
    } catch (const TransportError& error) {
        emit(ServerEvent::Info{server_texts::couldNotReopen(interfaceName_, error.description())});
        return;
    }
    clear(NoticeKind::adapterUnplugged);
    emit(ServerEvent::Info{server_texts::cardIsBack(interfaceName_)});
    const auto media = Interfaces::readMediaStatus(interfaceName_);
    if (!media) {
        // The next look at the card reports the link once the kernel answers again.
        emit(ServerEvent::Info{std::string(server_texts::linkStateUnreadable)});
        return;
    }
    linkUp_ = media->linkUp;
    emit(ServerEvent::Link{media->linkUp, media->description});
    if (linkUp_) {
        clear(NoticeKind::linkDown);
    } else {
        raise(Notice::linkDown(interfaceName_));
    }
}

void DHCPServer::markAllOffline(std::string_view reason) {
    for (const auto& lease : table_.leases()) {
        if (lease.state != Lease::State::bound) {
            continue;
        }
        auto& state = presence_[lease.ip];
        if (state == PresenceState::offline) {
            continue;
        }
        state = PresenceState::offline;
        emit(ServerEvent::Presence{lease.ip, lease.mac, PresenceState::offline,
                                   std::string(reason)});
    }
}

void DHCPServer::armPresenceTimer(std::chrono::steady_clock::duration delay) {
    presenceTimer_.expires_after(delay);
    presenceTimer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        if (error) {
            return;
        }
        const auto self = weak.lock();
        if (!self || !self->running_) {
            return;
        }
        self->runPresenceCycle();
        self->armPresenceTimer(Timing::presenceInterval);
    });
}

// Each bound device is probed on the pool, all at once; the answers come back one by one
// and only a change of state is reported. No ARP broadcast here: one per device every cycle
// would reach every device on the segment, and the kernel keeps known neighbours resolved.
void DHCPServer::runPresenceCycle() {
    if (!running_ || !options_.presenceEnabled || !linkUp_) {
        return;
    }
    const auto now = clock_();
    const std::vector<std::uint16_t> ports(std::begin(presencePorts), std::end(presencePorts));
    std::optional<unsigned> cardIndex;
    if (isOpen_) {
        cardIndex = transport_->interfaceIndex();
    }
    for (const auto& lease : table_.leases()) {
        if (lease.state != Lease::State::bound || lease.expiresAt <= now) {
            continue;
        }
        asio::post(probePool_, [weak = weak_from_this(), context = context_,
                                prober = Prober(interfaceName_, ports, ICMPMode::automatic,
                                                ARPProbing::disabled),
                                ip = lease.ip, mac = lease.mac, cardIndex] {
            const auto result = prober.probe(ip, Timing::probeTimeout);
            const auto neighbours = ARPTable::read(cardIndex);
            std::optional<MACAddress> neighbourMAC;
            if (const auto entry = neighbours.find(ip); entry != neighbours.end()) {
                neighbourMAC = entry->second;
            }
            asio::post(*context, [weak, ip, mac, result, neighbourMAC] {
                const auto self = weak.lock();
                if (!self || !self->running_) {
                    return;
                }
                self->recordPresence(ip, mac, result, neighbourMAC);
            });
        });
    }
}

void DHCPServer::recordPresence(IPv4Address ip, const MACAddress& mac, const ProbeResult& result,
                                const std::optional<MACAddress>& neighbourMAC) {
    const auto state = PresenceClassifier::classify(result, neighbourMAC, mac, linkUp_);
    const auto known = presence_.find(ip);
    if (known != presence_.end() && known->second == state) {
        return;
    }
    presence_[ip] = state;
    emit(ServerEvent::Presence{ip, mac, state, result.detail});
}

} // namespace corvane
