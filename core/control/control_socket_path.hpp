#pragma once

#include <filesystem>

namespace corvane::ControlSocketPath {

// The private folder for control sockets: $XDG_RUNTIME_DIR/corvane, or /tmp/corvane-{uid}
// when XDG_RUNTIME_DIR is unset or missing. It is created with mode 0700; an existing one
// that is a link, not ours, or open to others throws ControlError rather than being used.
std::filesystem::path privateDirectory();
// This process's socket in that folder, "serve-{pid}.sock".
std::filesystem::path forThisProcess();

} // namespace corvane::ControlSocketPath
