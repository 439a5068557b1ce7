#include "core/responder/responder.hpp"

#include <utility>

#include "core/responder/responder_worker.hpp"

namespace corvane {

Responder::Responder(ServerConfig config) : config_(std::move(config)) {}

Decision Responder::decide(const DHCPPacket& packet, const DecisionContext& context) const {
    return ResponderWorker(config_, packet, context, context.table).run();
}

Decision Responder::decide(const DHCPPacket& packet, DecisionContext&& context) const {
    auto table = std::move(context.table);
    return ResponderWorker(config_, packet, context, std::move(table)).run();
}

} // namespace corvane
