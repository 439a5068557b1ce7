#pragma once

#include <memory>
#include <string>

namespace corvane {

// Why an update check ended without a result: a domain and code to recognise it by, a
// readable description, and the lower-level error that caused it, if any.
struct UpdateError {
    std::string domain;
    int code = 0;
    std::string description;
    std::shared_ptr<const UpdateError> underlying;

    // The same error with `cause` at the end of its chain of causes.
    UpdateError causedBy(UpdateError cause) const;
};

} // namespace corvane
