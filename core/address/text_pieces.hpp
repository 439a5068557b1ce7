#pragma once

#include <string_view>
#include <vector>

namespace corvane {

// Splits at every separator and keeps empty pieces, so "1..3" has an empty middle piece
// and a trailing separator yields a final empty piece: the strict parsers rely on that.
inline std::vector<std::string_view> splitKeepingEmpty(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    while (true) {
        const auto end = text.find(separator, start);
        if (end == std::string_view::npos) {
            pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

} // namespace corvane
