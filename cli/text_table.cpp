#include "cli/text_table.hpp"

#include <algorithm>

namespace corvane::cli {

TextTable::TextTable(std::vector<std::string> headings) {
    rows_.push_back(std::move(headings));
}

void TextTable::addRow(std::vector<std::string> cells) {
    cells.resize(rows_.front().size());
    rows_.push_back(std::move(cells));
}

std::string TextTable::render() const {
    std::vector<std::size_t> widths(rows_.front().size(), 0);
    for (const auto& row : rows_) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size()) {
                line += std::string(widths[column] - displayWidth(row[column]) + 2, ' ');
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::size_t displayWidth(const std::string& text) {
    // Every byte that does not continue a multi-byte sequence starts a character.
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
    }));
}

} // namespace corvane::cli
