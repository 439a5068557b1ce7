#include "core/events/reply_destination.hpp"

namespace corvane {

std::string ReplyDestination::description() const {
    return address_.description() + ":" + std::to_string(clientPort);
}

} // namespace corvane
