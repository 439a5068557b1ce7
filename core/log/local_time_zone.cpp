#include "core/log/local_time_zone.hpp"

#include <cstdlib>
#include <exception>
#include <string_view>

namespace corvane {

const date::time_zone* localTimeZone() {
    if (const char* variable = std::getenv("TZ"); variable != nullptr && *variable != '\0') {
        std::string_view name = variable;
        // POSIX allows a leading colon before a zone file name.
        if (name.front() == ':') {
            name.remove_prefix(1);
        }
        try {
            return date::locate_zone(name);
        } catch (const std::exception&) {
            // Not a zone name the database knows (perhaps a POSIX rule): use the system's.
        }
    }
    try {
        return date::current_zone();
    } catch (const std::exception&) {
        return nullptr;
    }
}

} // namespace corvane
