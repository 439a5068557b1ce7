#include "app/model/update_error_text.hpp"

#include <optional>

namespace corvane {

std::string UpdateErrorText::describe(const UpdateError& error) {
    std::optional<std::string> specific;
    for (const UpdateError* cause = error.underlying.get(); cause != nullptr;
         cause = cause->underlying.get()) {
        if (!cause->description.starts_with(genericPrefix)) {
            specific = cause->description;
        }
    }
    if (specific && *specific != error.description) {
        return error.description + " (" + *specific + ")";
    }
    return error.description;
}

} // namespace corvane
