#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace corvane {

// The engine's fixed durations and counts, kept in one place so the responder, the server
// runtime and the configuration rules cannot drift apart.
struct Timing {
    Timing() = delete;

    // How long an offered address stays reserved for the client that was offered it.
    static constexpr std::chrono::seconds offerHold{60};
    // How long a declined or conflicting address is held back from allocation.
    static constexpr std::chrono::seconds quarantine{600};
    // Period of the presence cycle over bound leases.
    static constexpr std::chrono::seconds presenceInterval{10};
    // Upper bound on every single probe, conflict check or presence check alike.
    static constexpr std::chrono::seconds probeTimeout{1};
    // Conflict probes block the reply, so one packet may ask for only a few of them.
    static constexpr std::size_t maxProbesPerPacket = 5;
    // Lease time bounds in seconds; option 51 carries an unsigned 32-bit count (RFC 2132 9.2).
    static constexpr std::uint32_t minimumLease = 60;
    static constexpr std::uint32_t maximumLease = 2'592'000;
};

} // namespace corvane
