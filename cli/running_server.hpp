#pragma once

#include <filesystem>
#include <memory>

#include "core/control/control_client.hpp"

namespace corvane::cli {

// The server running on `leaseFile`, reached through the control socket it announced in
// the lease file's lock. None when no server holds the file; throws ControlError with a
// sentence when one holds it but does not answer.
std::unique_ptr<ControlClient> connectToRunningServer(const std::filesystem::path& leaseFile);

} // namespace corvane::cli
