#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane {

// A bounds-checked cursor over JSON text that understands only what lease documents need:
// objects, arrays, null, small integers and strings without escapes. Whatever else it meets
// it reports as "not understood" (false or no value) and leaves the caller to give up.
class LeaseDocumentScanner {
public:
    explicit LeaseDocumentScanner(std::string_view text) : text_(text) {}

    // Skips JSON whitespace, then takes `expected` if it is the next character.
    bool take(char expected);
    // True when `expected` is next (after whitespace), without taking it.
    bool peek(char expected);
    // A string of printable ASCII other than '"' and '\\', without its quotes.
    std::optional<std::string_view> plainString();
    bool null();
    // An integer of at most nine digits in JSON's own form (no leading zeros, no fraction).
    std::optional<std::int64_t> smallInteger();
    // True when only whitespace is left.
    bool atEnd();

private:
    void skipWhitespace();

    std::string_view text_;
    std::size_t position_ = 0;
};

// Reads "{ "key": value, ... }", handing each key to `readValue`, which reads the value and
// returns false when it does not understand it.
template <typename ReadValue> bool scanObject(LeaseDocumentScanner& scanner, ReadValue readValue) {
    if (!scanner.take('{')) {
        return false;
    }
    if (scanner.take('}')) {
        return true;
    }
    do {
        const auto key = scanner.plainString();
        if (!key || !scanner.take(':') || !readValue(*key)) {
            return false;
        }
    } while (scanner.take(','));
    return scanner.take('}');
}

// Reads "[ element, ... ]", handing the reading of each element to `readElement`.
template <typename ReadElement>
bool scanArray(LeaseDocumentScanner& scanner, ReadElement readElement) {
    if (!scanner.take('[')) {
        return false;
    }
    if (scanner.take(']')) {
        return true;
    }
    do {
        if (!readElement()) {
            return false;
        }
    } while (scanner.take(','));
    return scanner.take(']');
}

} // namespace corvane
