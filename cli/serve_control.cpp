#include "cli/serve_control.hpp"

#include <iostream>

#include "core/control/control_error.hpp"
#include "core/control/control_socket_path.hpp"
#include "core/control/server_control_handler.hpp"

namespace corvane::cli {

std::unique_ptr<ControlServer> openControlChannel(const std::shared_ptr<DHCPServer>& server,
                                                  LeaseFileLock& lock) {
    try {
        auto channel = std::make_unique<ControlServer>(ControlSocketPath::forThisProcess(),
                                                       serverControlHandler(server));
        lock.announceControlSocket(channel->socketPath());
        return channel;
    } catch (const ControlError& error) {
        std::cerr << error.what() << " Serving without it: other commands cannot reach this server."
                  << "\n";
        return nullptr;
    }
}

ServeHooks controlHooks(ControlServer* channel) {
    ServeHooks hooks;
    if (channel != nullptr) {
        hooks.onEvent = [channel](const ServerEvent& event, TimePoint at) {
            channel->publish(event, at);
        };
        hooks.beforeStop = [channel] { channel->refuseRequests(); };
    }
    return hooks;
}

} // namespace corvane::cli
