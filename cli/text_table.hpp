#pragma once

#include <string>
#include <vector>

namespace corvane::cli {

// Rows of text under a heading, each column as wide as its widest cell, two spaces apart.
// Widths count characters, not bytes, so "·" and "✓" line up.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> headings);

    void addRow(std::vector<std::string> cells);
    // One line per row, the heading first; trailing spaces are trimmed.
    std::string render() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

// The number of characters in UTF-8 text.
std::size_t displayWidth(const std::string& text);

} // namespace corvane::cli
