#include "app/model/update_error.hpp"

#include <utility>

namespace corvane {

UpdateError UpdateError::causedBy(UpdateError cause) const {
    UpdateError result = *this;
    result.underlying = std::make_shared<const UpdateError>(
        underlying ? underlying->causedBy(std::move(cause)) : std::move(cause));
    return result;
}

} // namespace corvane
