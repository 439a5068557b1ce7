#pragma once

#include "core/transport/send_failure.hpp"
#include "core/transport/transport_error.hpp"

// What the operating system's own network policy does to our replies.
namespace corvane::LocalNetwork {

// Tells a send refused by a local firewall from one that failed because the card has no
// link or no server address, so the user gets the notice that names the real cause.
SendFailure classify(const TransportError& error, bool linkUp, bool serverAddressPresent);

} // namespace corvane::LocalNetwork
