#pragma once

#include <stdexcept>

namespace corvane::cli {

// A step of building the demo's network failed; what() is a complete sentence for the user.
class DemoLabError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace corvane::cli
