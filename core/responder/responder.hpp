#pragma once

#include <array>
#include <cstdint>

#include "core/config/server_config.hpp"
#include "core/packet/dhcp_packet.hpp"
#include "core/responder/decision.hpp"

namespace corvane {

// The server's whole DHCP decision logic as one pure function: a client message and a
// snapshot of the state in, a `Decision` out. It never sends, saves, logs or reads a clock,
// so every rule can be exercised without a network.
class Responder {
public:
    // Vendor-specific information (option 43) for APC network cards, which wait for it before
    // they take their address: sub-option 1, length 4, the text "1APC".
    static constexpr std::array<std::uint8_t, 6> apcCookie{0x01, 0x04, 0x31, 0x41, 0x50, 0x43};

    explicit Responder(ServerConfig config);

    const ServerConfig& config() const { return config_; }

    Decision decide(const DHCPPacket& packet, const DecisionContext& context) const;
    // The same decision for a caller that gives up its snapshot: its table becomes the
    // decision's table without being copied. Only the table is taken; the rest of the context
    // is left as it was, for the caller to take back. If the decision throws, the table is
    // back in the context.
    Decision decide(const DHCPPacket& packet, DecisionContext&& context) const;

private:
    ServerConfig config_;
};

} // namespace corvane
