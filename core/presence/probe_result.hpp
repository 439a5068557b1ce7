#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "core/address/mac_address.hpp"

namespace corvane {

// What one probe of an address found: whether anything answered and, for the log, what.
// The factory functions are the only place the detail texts are written.
struct ProbeResult {
    bool answered = false;
    std::string detail;

    // Nothing answered before the deadline.
    static ProbeResult silent();
    static ProbeResult echoReply(std::chrono::duration<double, std::milli> roundTrip);
    // The device answered our own ARP probe (or spoke ARP from the address meanwhile).
    static ProbeResult arpAnswer(const MACAddress& from);
    static ProbeResult tcpOpen(std::uint16_t port);
    // A refusal is an answer: only a live host sends the reset.
    static ProbeResult tcpRefused(std::uint16_t port);

    friend bool operator==(const ProbeResult&, const ProbeResult&) = default;
};

} // namespace corvane
