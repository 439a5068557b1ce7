#include <chrono>
#include <cstdint>
#include <string>
#include <variant>

#include <benchmark/benchmark.h>

#include "core/packet/option_code.hpp"
#include "core/responder/responder.hpp"

namespace {

using namespace corvane;
using namespace std::chrono_literals;

const TimePoint now{std::chrono::seconds{1'740'830'400}};

// A /16 pool, the widest a user is likely to configure.
ServerConfig wideConfig() {
    return ServerConfig{.serverIP = IPv4Address(10, 20, 0, 1),
                        .prefixLength = 16,
                        .rangeStart = IPv4Address(10, 20, 0, 2),
                        .rangeEnd = IPv4Address(10, 20, 255, 254),
                        .leaseSeconds = 3600,
                        .router = IPv4Address(10, 20, 0, 1),
                        .dns = {IPv4Address(10, 20, 0, 1)}};
}

MACAddress numberedMAC(std::uint32_t number) {
    return MACAddress({0x02, 0x00, static_cast<std::uint8_t>(number >> 24),
                       static_cast<std::uint8_t>(number >> 16),
                       static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)});
}

// `count` bound leases on the lowest pool addresses, each with the host name and the
// 20-character client identifier a typical client sends.
LeaseTable occupiedTable(std::int64_t count) {
    LeaseTable table;
    const auto first = wideConfig().rangeStart.value();
    for (std::int64_t index = 0; index < count; ++index) {
        Lease lease;
        lease.mac = numberedMAC(static_cast<std::uint32_t>(index));
        lease.ip = IPv4Address(first + static_cast<std::uint32_t>(index));
        lease.state = Lease::State::bound;
        lease.expiresAt = now + 1h;
        lease.hostname = "device-" + std::to_string(index);
        lease.clientID = "01:" + lease.mac.description();
        lease.firstSeen = now - 1h;
        lease.lastSeen = now - 1min;
        table.upsert(lease);
    }
    return table;
}

DHCPPacket clientMessage(DHCPMessageType type, std::optional<IPv4Address> requested,
                         bool toThisServer) {
    DHCPPacket packet;
    packet.xid = 0x225ef47f;
    const auto mac = numberedMAC(0xFFFFFF);
    std::copy(mac.bytes().begin(), mac.bytes().end(), packet.chaddr.begin());
    packet.setOption(OptionCode::messageType, {static_cast<std::uint8_t>(type)});
    if (requested) {
        const auto bytes = requested->bytes();
        packet.setOption(OptionCode::requestedIP, Bytes(bytes.begin(), bytes.end()));
    }
    if (toThisServer) {
        const auto bytes = wideConfig().serverIP.bytes();
        packet.setOption(OptionCode::serverID, Bytes(bytes.begin(), bytes.end()));
    }
    packet.setOption(OptionCode::hostname, {'b', 'e', 'n', 'c', 'h'});
    return packet;
}

// The bench client's REQUEST for the address just above `occupied` leases: the first free one.
DHCPPacket requestForFirstFree(std::int64_t occupied) {
    const IPv4Address firstFree(wideConfig().rangeStart.value() +
                                static_cast<std::uint32_t>(occupied));
    return clientMessage(DHCPMessageType::request, firstFree, true);
}

void decideOn(benchmark::State& state, const DHCPPacket& packet) {
    const Responder responder(wideConfig());
    const DecisionContext context{occupiedTable(state.range(0)), {}, {}, now};
    for (auto _ : state) {
        auto decision = responder.decide(packet, context);
        if (!std::holds_alternative<Reply>(decision.action)) {
            state.SkipWithError("the responder did not reply");
            break;
        }
        benchmark::DoNotOptimize(decision);
    }
}

// A new client: the pool walk passes every occupied address before it finds a free one.
void decideDiscover(benchmark::State& state) {
    decideOn(state, clientMessage(DHCPMessageType::discover, std::nullopt, false));
}

// A new client selecting the first free address.
void decideRequest(benchmark::State& state) {
    decideOn(state, requestForFirstFree(state.range(0)));
}

// The same decisions for a caller that hands its table over and takes the new one back, as
// the server runtime can: no copy of the table is made. The bench client's lease is taken
// out again between rounds so every round does the same work.
void decideOnHandedOverTable(benchmark::State& state, const DHCPPacket& packet) {
    const Responder responder(wideConfig());
    DecisionContext context{occupiedTable(state.range(0)), {}, {}, now};
    for (auto _ : state) {
        auto decision = responder.decide(packet, std::move(context));
        state.PauseTiming();
        context.table = std::move(decision.table);
        context.table.remove(*packet.mac());
        state.ResumeTiming();
    }
}

void decideDiscoverHandingOverTheTable(benchmark::State& state) {
    decideOnHandedOverTable(state, clientMessage(DHCPMessageType::discover, std::nullopt, false));
}

void decideRequestHandingOverTheTable(benchmark::State& state) {
    decideOnHandedOverTable(state, requestForFirstFree(state.range(0)));
}

// The copy `decide` makes of the context's table, alone, to tell it apart from the logic.
void copyTable(benchmark::State& state) {
    const auto table = occupiedTable(state.range(0));
    for (auto _ : state) {
        auto copy = table;
        benchmark::DoNotOptimize(copy);
    }
}

BENCHMARK(decideDiscover)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(decideRequest)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(decideDiscoverHandingOverTheTable)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(decideRequestHandingOverTheTable)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(copyTable)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);

} // namespace
