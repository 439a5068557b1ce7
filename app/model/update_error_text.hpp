#pragma once

#include <string>

#include "app/model/update_error.hpp"

namespace corvane {

// Turns an update error and its chain of causes into one line for the log.
struct UpdateErrorText {
    // The platform's generic wording, which says nothing a reader can act on.
    static constexpr const char* genericPrefix = "The operation couldn";

    // The top description, followed by the deepest cause that says something specific, in
    // parentheses, when there is one and it differs from the top.
    static std::string describe(const UpdateError& error);
};

} // namespace corvane
