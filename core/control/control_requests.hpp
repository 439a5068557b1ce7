#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/address/mac_address.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_table.hpp"

namespace corvane {

// What a running server lets its control clients do. Each call runs on the control thread
// and may wait for the server's own thread; none may throw.
struct ControlHandler {
    std::function<LeaseTable()> table;
    // The lease that was removed, or none when the server had none for the device.
    std::function<std::optional<Lease>(const MACAddress&)> forget;
    // How many records were removed.
    std::function<int()> clearInactive;
};

// A client asked for events, of one device or of all.
struct Subscription {
    std::optional<MACAddress> device;
};

struct ControlAnswer {
    // One JSON object, without the line feed.
    std::string reply;
    std::optional<Subscription> subscription;
};

// Answers one request line. Bad input gives an error reply, never an exception:
// {"ok":false,"error":"..."} with the request's name when it had one.
ControlAnswer answerControlRequest(std::string_view line, const ControlHandler& handler);
// The error reply for a request that was not answered at all.
std::string controlErrorReply(std::string_view text);

} // namespace corvane
