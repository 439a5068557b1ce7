#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// Why an option's text could not become its bytes: a complete sentence naming the code.
struct OptionValueProblem {
    std::string sentence;
    friend bool operator==(const OptionValueProblem&, const OptionValueProblem&) = default;
};

// The bytes of an option value written as text. Any code takes the typed forms hex:0a0b0c,
// text:..., ip:a.b.c.d[,...], u8:, u16: and u32:; a known code also takes its natural form
// (addresses, text, numbers, on/off, domain lists, classless routes). Blanks around the
// value are ignored; the encoded value must fit in one option (255 bytes).
std::variant<Bytes, OptionValueProblem> encodeOptionValue(std::uint8_t code, std::string_view text);

// One CODE=VALUE assignment as the command line and the settings window take it.
struct OptionAssignment {
    std::uint8_t code = 0;
    std::string value;
};

// Splits CODE=VALUE and checks that the code is a number from 1 to 254. The value is kept
// as written; `encodeOptionValue` judges it.
std::variant<OptionAssignment, OptionValueProblem> parseOptionAssignment(std::string_view text);

// Parses a decimal option code from 1 to 254, blanks around it ignored.
std::optional<std::uint8_t> parseOptionCode(std::string_view text);

} // namespace corvane
