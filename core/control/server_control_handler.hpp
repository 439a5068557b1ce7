#pragma once

#include <memory>

#include "core/control/control_requests.hpp"
#include "core/server/dhcp_server.hpp"

namespace corvane {

// The control requests carried out by a running server, as its own forget and clear calls,
// so that their changes are logged and saved like any other.
ControlHandler serverControlHandler(const std::shared_ptr<DHCPServer>& server);

} // namespace corvane
