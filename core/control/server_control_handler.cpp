#include "core/control/server_control_handler.hpp"

namespace corvane {

ControlHandler serverControlHandler(const std::shared_ptr<DHCPServer>& server) {
    ControlHandler handler;
    handler.table = [server] { return server->currentTable(); };
    // The server's own calls are queued on its thread; reading the table after them waits
    // until they have run, so the reply tells of a change that has already happened.
    handler.forget = [server](const MACAddress& mac) {
        auto lease = server->currentTable().lease(mac);
        if (lease) {
            server->forgetLease(mac);
            server->currentTable();
        }
        return lease;
    };
    handler.clearInactive = [server] {
        auto table = server->currentTable();
        const int count = table.clearInactive(std::chrono::system_clock::now());
        server->clearInactive();
        server->currentTable();
        return count;
    };
    return handler;
}

} // namespace corvane
