#include "app/model/log_line.hpp"

namespace corvane {

std::string_view logLineKindName(LogLine::Kind kind) {
    switch (kind) {
    case LogLine::Kind::rx:
        return "rx";
    case LogLine::Kind::tx:
        return "tx";
    case LogLine::Kind::presence:
        return "presence";
    case LogLine::Kind::notice:
        return "notice";
    case LogLine::Kind::other:
        return "other";
    }
    return "other";
}

} // namespace corvane
