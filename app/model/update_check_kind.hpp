#pragma once

namespace corvane {

// Who asked for an update check: the user, from the menu, or the automatic schedule.
enum class UpdateCheckKind { userInitiated, background };

} // namespace corvane
