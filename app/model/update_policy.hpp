#pragma once

#include "app/model/update_check_kind.hpp"

namespace corvane {

// An update may end with the program being replaced and restarted, which would cut devices
// off in the middle of their leases; so the schedule never checks while the server serves.
// A user who asks for a check always gets one.
struct UpdatePolicy {
    static constexpr bool mayCheck(UpdateCheckKind kind, bool serverRunning) {
        return kind == UpdateCheckKind::userInitiated || !serverRunning;
    }
};

} // namespace corvane
