#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"

namespace corvane {

// A device that always gets the same address. The address may lie outside the range but
// must be inside the server's subnet; the name is only shown beside the lease.
struct Reservation {
    MACAddress mac;
    IPv4Address ip;
    std::string name;

    // MAC=IP or MAC=IP=NAME, the form the command line takes.
    std::string text() const;

    friend bool operator==(const Reservation&, const Reservation&) = default;
};

// Reads MAC=IP[=NAME]; a MAC or address that does not parse gives the sentence saying so.
std::variant<Reservation, std::string> parseReservation(std::string_view text);

} // namespace corvane
