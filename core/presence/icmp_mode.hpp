#pragma once

namespace corvane {

// Which ICMP socket a probe may use for its echo request.
enum class ICMPMode {
    // The unprivileged datagram socket when net.ipv4.ping_group_range admits this process,
    // else a raw socket when it holds CAP_NET_RAW, else no ICMP at all.
    automatic,
    // Only the datagram socket; without it the probe relies on TCP alone.
    datagram,
    // Only the raw socket; without it the probe relies on TCP alone.
    raw,
    // TCP alone.
    none,
};

} // namespace corvane
