#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/address/ipv4_address.hpp"
#include "core/presence/icmp_mode.hpp"
#include "core/presence/probe_result.hpp"

namespace corvane {

// Whether a probe also asks the link by ARP (it needs CAP_NET_RAW; without it the probe
// goes on without ARP).
enum class ARPProbing { enabled, disabled };

// Asks whether a device answers on an address: one ICMP echo request, an ARP probe and a TCP
// connect to each port, all at once through the served card, and the first sign of life wins.
// ARP finds devices whose firewall drops ICMP and closes every port, and answers at once
// where the kernel's neighbour resolution would hold the other packets back. Blocks for at
// most about the timeout and shares no state, so several probes may run at once.
class Prober {
public:
    Prober(std::string interfaceName, std::vector<std::uint16_t> tcpPorts,
           ICMPMode icmpMode = ICMPMode::automatic, ARPProbing arpProbing = ARPProbing::enabled);

    // Every socket it opens is closed again before it returns, whatever the outcome.
    ProbeResult probe(IPv4Address ip, std::chrono::milliseconds timeout) const;

    // An ICMP echo request (RFC 792) carrying the text "corvane", its checksum filled in.
    static Bytes echoRequest(std::uint16_t identifier, std::uint16_t sequence);
    // The Internet checksum of RFC 1071; an odd trailing byte counts as a high byte.
    static std::uint16_t checksum(std::span<const std::uint8_t> bytes);
    // Whether a datagram read from an ICMP socket is an echo reply. A leading IPv4 header
    // (raw sockets deliver one) is skipped; `identifier` is checked when given, because a
    // raw socket also sees the replies meant for other programs.
    static bool isEchoReply(std::span<const std::uint8_t> datagram,
                            std::optional<std::uint16_t> identifier);

private:
    std::string interfaceName_;
    std::vector<std::uint16_t> tcpPorts_;
    ICMPMode icmpMode_;
    ARPProbing arpProbing_;
};

} // namespace corvane
