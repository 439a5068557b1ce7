#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/config/server_config.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_table.hpp"
#include "core/packet/dhcp_message_type.hpp"
#include "core/packet/dhcp_packet.hpp"
#include "core/responder/decision.hpp"

namespace corvane {

// One run of the responder over one client message. It owns a working copy of the table
// and collects the action, the notes and the changed flag; `Responder::decide` makes one,
// runs it and hands back what it gathered. Internal to the responder.
class ResponderWorker {
public:
    // `table` is the context's table, already copied or moved out of it by the caller.
    ResponderWorker(const ServerConfig& config, const DHCPPacket& packet,
                    const DecisionContext& context, LeaseTable table);

    // Checks that the message is one this server answers, handles it by its type, and
    // returns everything the handling produced.
    Decision run() &&;
    // The working table as it stands, for a caller whose `run` threw: every change made so
    // far is still marked for the journal.
    LeaseTable releaseTable() && { return std::move(table_); }

private:
    // Refuses what the server does not serve; the MAC is known once this returns true.
    bool accepts();
    void handle(DHCPMessageType type);

    void discover();
    void request();
    void requestWhileSelecting();
    void requestWhileRebooting();
    void requestWhileRenewing();
    void choseAnotherServer(IPv4Address server);
    // A device with a reservation gets that address, wherever it lies, and no other.
    void discoverReserved(const Reservation& reservation);
    void requestReserved(const Reservation& reservation);
    // Frees a reserved address from another device's lease, saying so in the log.
    void takeReservedAddress(IPv4Address ip);
    void decline();
    void release();
    void inform();

    // A stranger gets a record only while the table has room for it; making room removes
    // only records that hold nothing.
    bool roomForNewClient();
    // May this address be handed out at all: inside the stored range, not the server's
    // own, not held back, not reserved for another device.
    bool usable(IPv4Address ip) const;
    // Usable, and nobody holds it now, the asking client included.
    bool isFree(IPv4Address ip) const;
    // Whoever holds `ip` now, unless it is `mac` itself.
    std::optional<Lease> otherHolder(IPv4Address ip, const MACAddress& mac) const;
    bool holderIsOffline(IPv4Address ip) const;
    // A device answered a probe of `ip` made for this request.
    bool answeredProbe(IPv4Address ip) const;
    // Whether `ip`, which nobody holds, must still be probed before it is offered.
    bool mustProbeFreeAddress(IPv4Address ip) const;
    // Whether the client's record holds `ip` now.
    bool clientHolds(IPv4Address ip) const;

    // Gives `ip` to the client. `otherHolder` is whoever else holds it now, as the caller
    // found it: that lease is reclaimed first (allocation only picks such an address when
    // its device is gone).
    void assign(IPv4Address ip, Lease::State state, TimePoint until,
                std::optional<Lease> otherHolder);
    void acknowledge(IPv4Address ip);

    DHCPPacket baseReply(DHCPMessageType type, IPv4Address yiaddr) const;
    void reply(DHCPMessageType type, IPv4Address yiaddr, bool includeLease);
    void nak(std::string_view reason);

    void drop(std::string reason, std::optional<MACAddress> mac);
    void note(ServerEvent event) { notes_.push_back(std::move(event)); }

    const ServerConfig& config_;
    const DHCPPacket& packet_;
    const DecisionContext& context_;
    const TimePoint now_;
    LeaseTable table_;
    bool tableChanged_ = false;
    std::vector<ServerEvent> notes_;
    DecisionAction action_ = NoAction{};
    MACAddress mac_;
    // The asking client's record, looked up once and kept equal to what the working table
    // holds for it after every change this run makes.
    std::optional<Lease> client_;
};

} // namespace corvane
