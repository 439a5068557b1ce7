#pragma once

#include <memory>

#include "cli/serve_until_stopped.hpp"
#include "core/control/control_server.hpp"
#include "core/control/lease_file_lock.hpp"
#include "core/server/dhcp_server.hpp"

namespace corvane::cli {

// Opens the control socket of a started server and announces it in the lease file's lock.
// A socket that cannot be opened is reported on stderr and the server runs without one.
std::unique_ptr<ControlServer> openControlChannel(const std::shared_ptr<DHCPServer>& server,
                                                  LeaseFileLock& lock);

// Hands every event of the run to the channel's subscribers, and stops taking requests
// just before the server stops. No channel, no hooks.
ServeHooks controlHooks(ControlServer* channel);

} // namespace corvane::cli
