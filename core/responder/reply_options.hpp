#pragma once

#include <cstdint>
#include <vector>

#include "core/config/server_config.hpp"
#include "core/packet/dhcp_packet.hpp"

namespace corvane {

// An option the reply had no room for.
struct LeftOutOption {
    std::uint8_t code = 0;
    std::size_t limit = 0;
};

// Adds the boot server, the boot file and the configured options to a reply that already
// carries the server's own options. Configured options follow the client's parameter
// request order (option 55) where it asked for them, then the rest by code; option 67
// names the boot file only for a client that asked for it. Codes already in the reply are
// not written twice. Whatever would make the reply longer than the client accepts (option
// 57, never below the 576-byte datagram every client takes) is left out and returned.
std::vector<LeftOutOption> addBootAndConfiguredOptions(DHCPPacket& reply, const DHCPPacket& request,
                                                       const ServerConfig& config);

// The largest DHCP message this client accepts, IP and UDP headers taken off.
std::size_t replySizeLimit(const DHCPPacket& request);

} // namespace corvane
