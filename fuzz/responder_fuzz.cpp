#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "core/leases/lease_table.hpp"
#include "core/packet/option_code.hpp"
#include "core/responder/responder.hpp"

// Looks for logic faults in the responder, not only crashes: a random table, then a run of
// client messages from a few devices at advancing times, each decided and applied the way
// the server applies it (probes answered from the input). After every step no address may
// be held by two clients, every lease-carrying reply must lie in the range and be recorded
// for its client, no unexpired lease may be taken without a probe that found nobody, only
// the holder of an address may have it quarantined, and the table's own lookups must agree
// with its records.

namespace {

using namespace corvane;

[[noreturn]] void fail(const char* broken) {
    std::fprintf(stderr, "responder_fuzz: %s\n", broken);
    std::abort();
}

void check(bool holds, const char* broken) {
    if (!holds) {
        fail(broken);
    }
}

constexpr std::uint8_t deviceCount = 6;
constexpr int maxSteps = 64;
const IPv4Address serverIP(10, 0, 0, 1);

MACAddress device(std::uint8_t number) {
    return MACAddress(MACAddress::ByteArray{0x02, 0, 0, 0, 0, number});
}

// Mostly addresses in or next to a small range, sometimes anything at all.
IPv4Address someAddress(FuzzedDataProvider& input) {
    if (input.ConsumeIntegralInRange<int>(0, 15) == 0) {
        return IPv4Address(input.ConsumeIntegral<std::uint32_t>());
    }
    return IPv4Address(10, 0, 0, input.ConsumeIntegralInRange<std::uint8_t>(0, 24));
}

Bytes bytesOf(IPv4Address ip) {
    const auto bytes = ip.bytes();
    return Bytes(bytes.begin(), bytes.end());
}

ServerConfig someConfig(FuzzedDataProvider& input) {
    const auto first = input.ConsumeIntegralInRange<std::uint8_t>(2, 12);
    const auto last = static_cast<std::uint8_t>(first + input.ConsumeIntegralInRange<int>(0, 7));
    return ServerConfig{.serverIP = serverIP,
                        .prefixLength = 24,
                        .rangeStart = IPv4Address(10, 0, 0, first),
                        .rangeEnd = IPv4Address(10, 0, 0, last),
                        .leaseSeconds = input.ConsumeIntegralInRange<std::uint32_t>(1, 7200),
                        .router = std::nullopt,
                        .dns = {}};
}

// Records are only added where they keep every address with at most one holder, and those
// outside the range go, as the server drops them when it loads a table: what a table the
// server wrote itself looks like.
LeaseTable someTable(FuzzedDataProvider& input, const ServerConfig& config, TimePoint now) {
    LeaseTable table;
    const auto count = input.ConsumeIntegralInRange<int>(0, 10);
    for (int index = 0; index < count; ++index) {
        Lease lease;
        lease.mac = device(input.ConsumeIntegralInRange<std::uint8_t>(0, deviceCount - 1));
        lease.ip = someAddress(input);
        lease.state = static_cast<Lease::State>(input.ConsumeIntegralInRange<int>(0, 3));
        lease.expiresAt = now + std::chrono::seconds{input.ConsumeIntegralInRange(-600, 7200)};
        lease.firstSeen = lease.lastSeen =
            now - std::chrono::seconds{input.ConsumeIntegralInRange(0, 7200)};
        const auto holder = table.holder(lease.ip, now);
        if (!lease.holdsAddress(now) || !holder || holder->mac == lease.mac) {
            table.upsert(lease);
        }
    }
    if (input.ConsumeBool()) {
        table.addQuarantine(someAddress(input),
                            now + std::chrono::seconds{input.ConsumeIntegral<std::uint16_t>()},
                            device(0));
    }
    table.dropOutside(config.range());
    return table;
}

DHCPPacket someMessage(FuzzedDataProvider& input, const MACAddress& mac) {
    DHCPPacket packet;
    std::copy(mac.bytes().begin(), mac.bytes().end(), packet.chaddr.begin());
    packet.xid = input.ConsumeIntegral<std::uint32_t>();
    const auto type = input.ConsumeIntegralInRange<std::uint8_t>(1, 9);
    packet.setOption(OptionCode::messageType, {type});
    if (input.ConsumeBool()) {
        packet.setOption(OptionCode::requestedIP, bytesOf(someAddress(input)));
    }
    switch (input.ConsumeIntegralInRange<int>(0, 2)) {
    case 0:
        packet.setOption(OptionCode::serverID, bytesOf(serverIP));
        break;
    case 1:
        packet.setOption(OptionCode::serverID, bytesOf(someAddress(input)));
        break;
    default:
        break;
    }
    if (input.ConsumeBool()) {
        packet.ciaddr = someAddress(input);
    }
    if (input.ConsumeIntegralInRange<int>(0, 31) == 0) {
        packet.giaddr = someAddress(input);
    }
    return packet;
}

std::optional<MACAddress> holderMAC(const LeaseTable& table, IPv4Address ip, TimePoint now) {
    const auto holder = table.holder(ip, now);
    return holder ? std::optional(holder->mac) : std::nullopt;
}

void checkTable(const LeaseTable& table, TimePoint now) {
    std::unordered_set<MACAddress> clients;
    std::unordered_map<IPv4Address, MACAddress> holders;
    for (const auto& lease : table.leases()) {
        check(clients.insert(lease.mac).second, "a client has two records");
        check(table.lease(lease.mac) == lease, "the lookup by client disagrees with the records");
        if (lease.holdsAddress(now)) {
            const auto [entry, isNew] = holders.try_emplace(lease.ip, lease.mac);
            check(isNew, "two clients hold one address");
            check(holderMAC(table, lease.ip, now) == lease.mac,
                  "the lookup by address disagrees with the records");
        }
    }
    std::unordered_set<IPv4Address> held;
    for (const auto& entry : table.quarantine()) {
        check(held.insert(entry.ip).second, "an address is quarantined twice");
    }
    check(table.quarantine().size() <= Quarantine::maxEntries, "the quarantine outgrew its bound");
}

void checkReply(const Reply& reply, const DHCPPacket& request, const LeaseTable& table,
                const ServerConfig& config, TimePoint now) {
    const auto mac = *request.mac();
    check(reply.mac == mac, "a reply went to another client");
    if (reply.type == DHCPMessageType::nak) {
        check(reply.packet.yiaddr == IPv4Address::zero, "a NAK carried an address");
        return;
    }
    if (reply.packet.yiaddr == IPv4Address::zero) {
        check(reply.type == DHCPMessageType::ack && reply.ip == request.ciaddr &&
                  config.subnet().contains(request.ciaddr),
              "an answer without an address was not an INFORM answer");
        return;
    }
    check(config.inRange(reply.packet.yiaddr) && reply.packet.yiaddr != config.serverIP,
          "a reply lent an address outside the range");
    check(holderMAC(table, reply.packet.yiaddr, now) == mac,
          "a reply lent an address the table does not record for its client");
    if (reply.type == DHCPMessageType::ack) {
        check(table.lease(mac)->state == Lease::State::bound, "an ACK left the lease unbound");
    }
}

// Whoever held an address before the step and lost it without asking, lost it to a probe
// that found nobody; and only the holder of an address may have had it quarantined.
void checkTakings(const LeaseTable& before, const LeaseTable& after, const DHCPPacket& request,
                  const std::unordered_map<IPv4Address, bool>& probes, TimePoint now) {
    const auto mac = *request.mac();
    for (const auto& lease : before.leases()) {
        if (lease.mac == mac || !lease.holdsAddress(now)) {
            continue;
        }
        if (holderMAC(after, lease.ip, now) != lease.mac) {
            const auto probe = probes.find(lease.ip);
            check(probe != probes.end() && !probe->second,
                  "an unexpired lease was taken without a probe that found nobody");
        }
    }
    for (const auto& entry : after.quarantine()) {
        if (!before.isQuarantined(entry.ip, now) && entry.holds(now)) {
            check(request.messageType() == DHCPMessageType::decline &&
                      holderMAC(before, entry.ip, now) == mac,
                  "an address was quarantined on the word of a client that did not hold it");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    TimePoint now{std::chrono::seconds{1'740'830'400}};
    const auto config = someConfig(input);
    const Responder responder(config);
    LeaseTable table = someTable(input, config, now);
    std::unordered_map<IPv4Address, PresenceState> presence;
    const bool probingAvailable = input.ConsumeIntegralInRange<int>(0, 3) != 0;
    // A crash or a failed save before this run: free addresses are probed for a while.
    std::optional<TimePoint> probeFreeUntil;
    if (input.ConsumeBool()) {
        probeFreeUntil = now + std::chrono::seconds{input.ConsumeIntegralInRange(0, 8000)};
    }
    checkTable(table, now);

    for (int step = 0; step < maxSteps && input.remaining_bytes() > 0; ++step) {
        now += std::chrono::seconds{input.ConsumeIntegralInRange(0, 1) == 0
                                        ? input.ConsumeIntegralInRange(0, 5)
                                        : input.ConsumeIntegralInRange(0, 4000)};
        if (input.ConsumeBool()) {
            presence[someAddress(input)] =
                static_cast<PresenceState>(input.ConsumeIntegralInRange<int>(0, 3));
        }
        const auto mac = device(input.ConsumeIntegralInRange<std::uint8_t>(0, deviceCount - 1));
        const auto request = someMessage(input, mac);
        std::unordered_map<IPv4Address, bool> probes;
        Decision decision;
        // The runtime probes and asks again; a probe is only ever for an address someone
        // else holds (or, while free addresses are distrusted, nobody holds), and the responder
        // spends at most a few on one message.
        for (int attempt = 0;; ++attempt) {
            check(attempt <= 8, "the responder kept asking for probes");
            decision = responder.decide(request, DecisionContext{table, presence, probes, now,
                                                                 probingAvailable, probeFreeUntil});
            const auto* probe = std::get_if<ProbeAddress>(&decision.action);
            if (probe == nullptr) {
                break;
            }
            check(probingAvailable, "a probe was asked for while probing is off");
            check(config.inRange(probe->ip), "a probe was asked for outside the range");
            const auto holder = holderMAC(table, probe->ip, now);
            const bool distrusted = probeFreeUntil && now < *probeFreeUntil;
            check((holder && *holder != mac) || (!holder && distrusted),
                  "a probe was asked for an address nobody else holds");
            check(!probes.contains(probe->ip), "the same address was probed twice");
            probes[probe->ip] = input.ConsumeBool();
        }
        checkTable(decision.table, now);
        if (const auto* reply = std::get_if<Reply>(&decision.action)) {
            checkReply(*reply, request, decision.table, config, now);
        }
        checkTakings(table, decision.table, request, probes, now);
        table = std::move(decision.table);
    }
    return 0;
}
