#include "core/leases/lease_document_scanner.hpp"

namespace corvane {

namespace {

bool isJSONWhitespace(char character) {
    return character == ' ' || character == '\n' || character == '\r' || character == '\t';
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

} // namespace

void LeaseDocumentScanner::skipWhitespace() {
    while (position_ < text_.size() && isJSONWhitespace(text_[position_])) {
        ++position_;
    }
}

bool LeaseDocumentScanner::take(char expected) {
    if (!peek(expected)) {
        return false;
    }
    ++position_;
    return true;
}

bool LeaseDocumentScanner::peek(char expected) {
    skipWhitespace();
    return position_ < text_.size() && text_[position_] == expected;
}

std::optional<std::string_view> LeaseDocumentScanner::plainString() {
    if (!take('"')) {
        return std::nullopt;
    }
    const auto start = position_;
    while (position_ < text_.size()) {
        const auto byte = static_cast<unsigned char>(text_[position_]);
        if (byte == '"') {
            ++position_;
            return text_.substr(start, position_ - 1 - start);
        }
        // Escapes, control characters and anything beyond ASCII need a full JSON reader.
        if (byte < 0x20 || byte >= 0x7F || byte == '\\') {
            return std::nullopt;
        }
        ++position_;
    }
    return std::nullopt;
}

bool LeaseDocumentScanner::null() {
    skipWhitespace();
    if (text_.substr(position_, 4) != "null") {
        return false;
    }
    position_ += 4;
    return true;
}

std::optional<std::int64_t> LeaseDocumentScanner::smallInteger() {
    skipWhitespace();
    const bool negative = position_ < text_.size() && text_[position_] == '-';
    auto cursor = position_ + (negative ? 1 : 0);
    const auto firstDigit = cursor;
    std::int64_t number = 0;
    while (cursor < text_.size() && isDigit(text_[cursor]) && cursor - firstDigit < 9) {
        number = number * 10 + (text_[cursor] - '0');
        ++cursor;
    }
    const auto digits = cursor - firstDigit;
    const bool leadingZero = digits > 1 && text_[firstDigit] == '0';
    // A tenth digit, a fraction or an exponent is a number this reader leaves alone.
    const bool moreFollows =
        cursor < text_.size() && (isDigit(text_[cursor]) || text_[cursor] == '.' ||
                                  text_[cursor] == 'e' || text_[cursor] == 'E');
    if (digits == 0 || leadingZero || moreFollows) {
        return std::nullopt;
    }
    position_ = cursor;
    return negative ? -number : number;
}

bool LeaseDocumentScanner::atEnd() {
    skipWhitespace();
    return position_ == text_.size();
}

} // namespace corvane
