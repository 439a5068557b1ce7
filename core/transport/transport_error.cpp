#include "core/transport/transport_error.hpp"

#include "core/transport/transport_texts.hpp"

namespace corvane {

TransportError::TransportError(std::string operation, int code)
    : std::runtime_error(transport_texts::failure(operation, code)),
      operation_(std::move(operation)), code_(code) {}

} // namespace corvane
