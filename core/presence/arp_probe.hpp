#pragma once

#include <optional>
#include <span>
#include <string>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/presence/file_descriptor.hpp"

namespace corvane {

// Asks the link itself who holds an address, with an ARP probe of our own (RFC 5227: sender
// address 0.0.0.0, so no neighbour's cache learns anything from it). The kernel's own
// resolution cannot be relied on for this: within three seconds of a failed lookup it queues
// new packets for its next once-a-second retry, so a device that came up meanwhile can stay
// unseen for longer than a probe waits.
struct ARPProbe {
    ARPProbe() = delete;

    // The 28-byte ARP request for `target` from `sender`'s hardware address.
    static Bytes request(const MACAddress& sender, IPv4Address target);

    // The hardware address behind an ARP message (as a packet socket delivers it, without the
    // Ethernet header) that `ip` sent: a reply, a request or an announcement all show the
    // address in use. Another host's probe for `ip` (sender address 0.0.0.0) does not.
    static std::optional<MACAddress> answerFrom(std::span<const std::uint8_t> message,
                                                IPv4Address ip);

    // Broadcasts the request on `card` and returns the non-blocking packet socket that will
    // see the answer; no value without CAP_NET_RAW, an Ethernet card of that name, or a send.
    static std::optional<FileDescriptor> send(const std::string& card, IPv4Address ip);
};

} // namespace corvane
