#include "core/responder/responder_worker.hpp"

#include <utility>

#include "core/config/duration_text.hpp"
#include "core/events/notice.hpp"
#include "core/leases/address_allocation.hpp"
#include "core/presence/timing.hpp"
#include "core/responder/responder_texts.hpp"

namespace corvane {
namespace {

// RFC 2131 section 2: op 1 is BOOTREQUEST; htype 1 with hlen 6 is Ethernet.
constexpr std::uint8_t bootRequest = 1;
constexpr std::uint8_t ethernetType = 1;
constexpr std::uint8_t ethernetAddressLength = 6;

std::uint32_t wholeSeconds(std::chrono::seconds duration) {
    return static_cast<std::uint32_t>(duration.count());
}

} // namespace

ResponderWorker::ResponderWorker(const ServerConfig& config, const DHCPPacket& packet,
                                 const DecisionContext& context, LeaseTable table)
    : config_(config), packet_(packet), context_(context), now_(context.now),
      table_(std::move(table)) {
    // Ended holds no longer count anyway; dropping them is housekeeping, not a change worth
    // a save of its own.
    table_.pruneQuarantine(now_);
}

Decision ResponderWorker::run() && {
    if (accepts()) {
        client_ = table_.lease(mac_);
        handle(*packet_.messageType());
    }
    return Decision{std::move(action_), std::move(table_), tableChanged_, std::move(notes_)};
}

bool ResponderWorker::accepts() {
    if (packet_.op != bootRequest) {
        drop(responder_texts::notClientRequest(packet_.op), std::nullopt);
        return false;
    }
    const auto mac = packet_.mac();
    if (packet_.htype != ethernetType || packet_.hlen != ethernetAddressLength || !mac) {
        drop(responder_texts::notEthernet(packet_.htype, packet_.hlen), std::nullopt);
        return false;
    }
    mac_ = *mac;
    // A relayed client lives on another network, which this server knows nothing about.
    if (packet_.giaddr != IPv4Address::zero) {
        drop(std::string(responder_texts::relayed), mac_);
        return false;
    }
    // Without a valid option 53 this is plain BOOTP (RFC 1534), which is not served.
    if (!packet_.messageType()) {
        drop(std::string(responder_texts::bootp), mac_);
        return false;
    }
    return true;
}

void ResponderWorker::handle(DHCPMessageType type) {
    const bool mayAddRecord = type == DHCPMessageType::discover || type == DHCPMessageType::request;
    if (mayAddRecord && !client_ && !roomForNewClient()) {
        drop(std::string(responder_texts::tableFull), mac_);
        return;
    }
    switch (type) {
    case DHCPMessageType::discover:
        discover();
        return;
    case DHCPMessageType::request:
        request();
        return;
    case DHCPMessageType::decline:
        decline();
        return;
    case DHCPMessageType::release:
        release();
        return;
    case DHCPMessageType::inform:
        inform();
        return;
    case DHCPMessageType::offer:
    case DHCPMessageType::ack:
    case DHCPMessageType::nak:
        drop(responder_texts::serverMessage(type), mac_);
        return;
    }
}

void ResponderWorker::discover() {
    if (const auto* reservation = config_.reservationFor(mac_)) {
        discoverReserved(*reservation);
        return;
    }
    const auto ip = chooseAddress(
        mac_, packet_.requestedIP(), table_, config_.range(),
        [this](IPv4Address candidate) { return usable(candidate); },
        [this](IPv4Address candidate) { return holderIsOffline(candidate); }, now_);
    if (!ip) {
        drop(std::string(responder_texts::poolExhausted), mac_);
        return;
    }
    // Taking an address from a device that only seems gone must not knock it off the
    // network: look for it first. With an answer recorded, the choice above already used it.
    auto holder = otherHolder(*ip, mac_);
    if (holder && !context_.probes.contains(*ip)) {
        action_ = ProbeAddress{*ip};
        return;
    }
    if (!holder && mustProbeFreeAddress(*ip)) {
        if (context_.probeBudgetExhausted()) {
            drop(std::string(responder_texts::noQuietAddress), mac_);
        } else {
            action_ = ProbeAddress{*ip};
        }
        return;
    }
    if (client_ && client_->state == Lease::State::bound && client_->ip == *ip &&
        client_->holdsAddress(now_)) {
        // A bound client that rediscovers keeps its binding; a newer sighting alone is not
        // worth a save.
        client_->lastSeen = now_;
        table_.upsert(*client_);
    } else {
        assign(*ip, Lease::State::offered, now_ + Timing::offerHold, std::move(holder));
    }
    reply(DHCPMessageType::offer, *ip, true);
}

// RFC 2131 section 4.3.2 tells the client states apart by option 54 and ciaddr.
void ResponderWorker::request() {
    if (const auto server = packet_.serverID(); server && *server != config_.serverIP) {
        choseAnotherServer(*server);
    } else if (const auto* reservation = config_.reservationFor(mac_)) {
        requestReserved(*reservation);
    } else if (server) {
        requestWhileSelecting();
    } else if (packet_.ciaddr == IPv4Address::zero) {
        requestWhileRebooting();
    } else {
        requestWhileRenewing();
    }
}

void ResponderWorker::requestWhileSelecting() {
    std::optional<IPv4Address> requested;
    if (const auto option = packet_.requestedIP(); option && *option != IPv4Address::zero) {
        requested = option;
    } else if (packet_.ciaddr != IPv4Address::zero) {
        requested = packet_.ciaddr;
    }
    if (!requested) {
        nak(responder_texts::noRequestedAddress);
        return;
    }
    if (!clientHolds(*requested) && !isFree(*requested)) {
        nak(responder_texts::requestedNotAvailable);
        return;
    }
    acknowledge(*requested);
}

void ResponderWorker::requestWhileRebooting() {
    const auto requested = packet_.requestedIP();
    if (!requested) {
        nak(responder_texts::noRequestedAddress);
    } else if (!config_.subnet().contains(*requested)) {
        nak(responder_texts::notOnThisNetwork);
    } else if (!config_.inRange(*requested) || *requested == config_.serverIP) {
        nak(responder_texts::outsideRange);
    } else if (table_.isQuarantined(*requested, now_)) {
        nak(responder_texts::declinedRecently);
    } else if (config_.isReservedForAnother(*requested, mac_)) {
        nak(responder_texts::reservedForAnotherDevice);
    } else if (otherHolder(*requested, mac_)) {
        nak(responder_texts::inUseByAnotherDevice);
    } else {
        acknowledge(*requested);
    }
}

void ResponderWorker::requestWhileRenewing() {
    const auto current = packet_.ciaddr;
    if (config_.isReservedForAnother(current, mac_)) {
        nak(responder_texts::reservedForAnotherDevice);
    } else if (clientHolds(current) || isFree(current)) {
        acknowledge(current);
    } else {
        nak(responder_texts::notAvailableForRenewal);
    }
}

void ResponderWorker::choseAnotherServer(IPv4Address server) {
    if (client_ && client_->state == Lease::State::offered) {
        // The offer is given back at once so its address is free for the next device. The
        // table the runtime takes carries it; a lapsed offer alone is not worth a save.
        client_->state = Lease::State::released;
        client_->expiresAt = now_;
        table_.upsert(*client_);
        note(ServerEvent::LeaseChanged{*client_});
    }
    note(ServerEvent::Info{responder_texts::choseAnotherServer(mac_, server)});
    note(ServerEvent::NoticeRaised{Notice::otherServer(server)});
}

// RFC 2131 section 4.3.3: the client found the address in use, so nobody gets it for a while.
void ResponderWorker::decline() {
    const auto ip = packet_.requestedIP();
    if (!ip) {
        drop(std::string(responder_texts::declineWithoutAddress), mac_);
        return;
    }
    // Only the device an address was lent to can know it is taken; anyone else could empty
    // the pool with forged reports.
    if (!config_.inRange(*ip)) {
        drop(responder_texts::declineOutsideRange(*ip), mac_);
        return;
    }
    if (!clientHolds(*ip)) {
        drop(responder_texts::declineNotHeld(*ip), mac_);
        return;
    }
    table_.addQuarantine(*ip, now_ + Timing::quarantine, mac_);
    table_.remove(mac_);
    client_.reset();
    note(ServerEvent::LeaseRemoved{mac_});
    note(ServerEvent::Info{
        responder_texts::declined(mac_, *ip, formatDuration(wholeSeconds(Timing::quarantine)))});
    tableChanged_ = true;
}

void ResponderWorker::release() {
    if (packet_.serverID() != config_.serverIP) {
        note(ServerEvent::Info{responder_texts::releaseForAnotherServer(mac_)});
        return;
    }
    if (!client_ || client_->ip != packet_.ciaddr) {
        note(ServerEvent::Info{responder_texts::releaseOfUnknownLease(mac_)});
        return;
    }
    client_->state = Lease::State::released;
    client_->expiresAt = now_;
    client_->lastSeen = now_;
    table_.upsert(*client_);
    note(ServerEvent::LeaseChanged{*client_});
    tableChanged_ = true;
}

// RFC 2131 section 3.4: a device with a fixed address asks only for the network's options.
void ResponderWorker::inform() {
    if (!config_.subnet().contains(packet_.ciaddr)) {
        drop(responder_texts::informFromOtherNetwork(packet_.ciaddr), mac_);
        return;
    }
    note(ServerEvent::Info{responder_texts::informAnswered(packet_.ciaddr, mac_)});
    reply(DHCPMessageType::ack, IPv4Address::zero, false);
}

bool ResponderWorker::roomForNewClient() {
    const auto limit = LeaseTable::recordLimit(config_.range());
    for (const auto& gone : table_.makeRoom(limit, now_)) {
        note(ServerEvent::LeaseRemoved{gone.mac});
    }
    return table_.leases().size() < limit;
}

bool ResponderWorker::usable(IPv4Address ip) const {
    return config_.inRange(ip) && ip != config_.serverIP && !table_.isQuarantined(ip, now_) &&
           !config_.isReservedForAnother(ip, mac_) && !answeredProbe(ip);
}

bool ResponderWorker::answeredProbe(IPv4Address ip) const {
    const auto probe = context_.probes.find(ip);
    return probe != context_.probes.end() && probe->second;
}

// Without presence probing nothing can be looked for, so free addresses are offered as
// before; the table is then the only record of who uses what.
bool ResponderWorker::mustProbeFreeAddress(IPv4Address ip) const {
    return context_.probingAvailable && context_.probeFreeAddressesUntil &&
           now_ < *context_.probeFreeAddressesUntil && !table_.holder(ip, now_) &&
           !context_.probes.contains(ip);
}

bool ResponderWorker::isFree(IPv4Address ip) const {
    return usable(ip) && !table_.holder(ip, now_);
}

std::optional<Lease> ResponderWorker::otherHolder(IPv4Address ip, const MACAddress& mac) const {
    auto holder = table_.holder(ip, now_);
    if (holder && holder->mac == mac) {
        return std::nullopt;
    }
    return holder;
}

bool ResponderWorker::holderIsOffline(IPv4Address ip) const {
    if (!context_.probingAvailable) {
        return false;
    }
    // An offer is only a minute old: its device is busy taking it, not gone.
    if (const auto holder = table_.holder(ip, now_);
        holder && holder->state == Lease::State::offered) {
        return false;
    }
    if (const auto probe = context_.probes.find(ip); probe != context_.probes.end()) {
        return !probe->second;
    }
    if (context_.probeBudgetExhausted()) {
        return false;
    }
    const auto presence = context_.presence.find(ip);
    return presence == context_.presence.end() || (presence->second != PresenceState::online &&
                                                   presence->second != PresenceState::conflict);
}

bool ResponderWorker::clientHolds(IPv4Address ip) const {
    return client_ && client_->ip == ip && client_->holdsAddress(now_);
}

void ResponderWorker::assign(IPv4Address ip, Lease::State state, TimePoint until,
                             std::optional<Lease> otherHolder) {
    if (otherHolder) {
        otherHolder->state = Lease::State::reclaimed;
        table_.upsert(*otherHolder);
        note(ServerEvent::LeaseChanged{*otherHolder});
        note(ServerEvent::Info{responder_texts::reclaimed(ip, otherHolder->mac)});
    }
    if (!client_) {
        client_.emplace();
        client_->mac = mac_;
        client_->firstSeen = now_;
    }
    client_->ip = ip;
    client_->state = state;
    client_->expiresAt = until;
    client_->lastSeen = now_;
    // A client that leaves an option out this time keeps what it told us before.
    if (auto hostname = packet_.hostname()) {
        client_->hostname = std::move(hostname);
    }
    if (auto vendorClass = packet_.vendorClass()) {
        client_->vendorClass = std::move(vendorClass);
    }
    if (auto clientID = packet_.clientID()) {
        client_->clientID = std::move(clientID);
    }
    table_.upsert(*client_);
    note(ServerEvent::LeaseChanged{*client_});
    tableChanged_ = true;
}

void ResponderWorker::acknowledge(IPv4Address ip) {
    assign(ip, Lease::State::bound, now_ + std::chrono::seconds{config_.leaseSeconds},
           otherHolder(ip, mac_));
    reply(DHCPMessageType::ack, ip, true);
}

void ResponderWorker::drop(std::string reason, std::optional<MACAddress> mac) {
    note(ServerEvent::Dropped{std::move(reason), mac});
}

} // namespace corvane
