#include <algorithm>
#include <cstdint>
#include <variant>

#include <benchmark/benchmark.h>

#include "core/packet/dhcp_packet.hpp"

namespace {

using corvane::Bytes;
using corvane::DHCPPacket;

// The DISCOVER busybox udhcpc 1.35 sends (host name, vendor class and client id set), as
// recorded by scripts/capture-client-packets.sh. Bytes 44 to 235 (sname, file) are zero.
Bytes capturedDiscover() {
    const Bytes header = {0x01, 0x01, 0x06, 0x00, 0x22, 0x5e, 0xf4, 0x7f, 0x00, 0x00, 0x00,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x7e, 0xcb, 0x25, 0x98, 0x0c,
                          0x76, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    const Bytes cookieAndOptions = {
        0x63, 0x82, 0x53, 0x63, 0x35, 0x01, 0x01, 0x39, 0x02, 0x02, 0x40, 0x37, 0x07,
        0x01, 0x03, 0x06, 0x0c, 0x0f, 0x1c, 0x2a, 0x0c, 0x0e, 0x63, 0x6f, 0x72, 0x76,
        0x61, 0x6e, 0x65, 0x2d, 0x63, 0x61, 0x6d, 0x65, 0x72, 0x61, 0x3c, 0x0f, 0x61,
        0x63, 0x6d, 0x65, 0x2d, 0x63, 0x61, 0x6d, 0x65, 0x72, 0x61, 0x20, 0x32, 0x2e,
        0x31, 0x3d, 0x07, 0x01, 0x7e, 0xcb, 0x25, 0x98, 0x0c, 0x76, 0xff, 0x00};
    Bytes datagram(DHCPPacket::headerLength + cookieAndOptions.size(), 0);
    std::copy(header.begin(), header.end(), datagram.begin());
    std::copy(cookieAndOptions.begin(), cookieAndOptions.end(),
              datagram.begin() + DHCPPacket::headerLength);
    return datagram;
}

void parseAndSerializeDiscover(benchmark::State& state) {
    const auto datagram = capturedDiscover();
    for (auto _ : state) {
        auto parsed = DHCPPacket::parse(datagram);
        auto wire = std::get<DHCPPacket>(parsed).serialize(DHCPPacket::minimumReplyLength);
        benchmark::DoNotOptimize(wire.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * datagram.size()));
}
BENCHMARK(parseAndSerializeDiscover);

void parseDiscover(benchmark::State& state) {
    const auto datagram = capturedDiscover();
    for (auto _ : state) {
        auto parsed = DHCPPacket::parse(datagram);
        benchmark::DoNotOptimize(parsed);
    }
}
BENCHMARK(parseDiscover);

void serializeDiscover(benchmark::State& state) {
    const auto packet = std::get<DHCPPacket>(DHCPPacket::parse(capturedDiscover()));
    for (auto _ : state) {
        auto wire = packet.serialize(DHCPPacket::minimumReplyLength);
        benchmark::DoNotOptimize(wire.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(serializeDiscover);

} // namespace
