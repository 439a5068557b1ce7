#include "cli/running_server.hpp"

#include "cli/serve_texts.hpp"
#include "core/control/control_error.hpp"
#include "core/control/lease_file_lock.hpp"

namespace corvane::cli {

std::unique_ptr<ControlClient> connectToRunningServer(const std::filesystem::path& leaseFile) {
    {
        // Taking the lock for a moment is the one reliable test that a server holds it.
        const LeaseFileLock probe(leaseFile);
        if (probe.state() != LeaseFileLock::State::inUseElsewhere) {
            return nullptr;
        }
    }
    const auto socket = LeaseFileLock::announcedControlSocket(leaseFile);
    if (!socket) {
        throw ControlError(
            texts::serverUnreachable(leaseFile, "it has not announced a control socket."));
    }
    try {
        return std::make_unique<ControlClient>(*socket);
    } catch (const ControlError& error) {
        throw ControlError(texts::serverUnreachable(leaseFile, error.what()));
    }
}

} // namespace corvane::cli
