#pragma once

#include <stdexcept>
#include <string>

namespace corvane {

// A control socket that cannot be made or reached; the text is a complete sentence.
class ControlError : public std::runtime_error {
public:
    explicit ControlError(const std::string& text) : std::runtime_error(text) {}
};

} // namespace corvane
