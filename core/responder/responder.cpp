#include "core/responder/responder.hpp"

#include <utility>

#include "core/responder/responder_worker.hpp"

namespace corvane {

Responder::Responder(ServerConfig config) : config_(std::move(config)) {}

Decision Responder::decide(const DHCPPacket& packet, const DecisionContext& context) const {
    return ResponderWorker(config_, packet, context, context.table).run();
}

Decision Responder::decide(const DHCPPacket& packet, DecisionContext&& context) const {
    ResponderWorker worker(config_, packet, context, std::move(context.table));
    try {
        return std::move(worker).run();
    } catch (...) {
        // A failed decision must not cost the caller its table.
        context.table = std::move(worker).releaseTable();
        throw;
    }
}

} // namespace corvane
