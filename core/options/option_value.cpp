#include "core/options/option_value.hpp"

#include <array>
#include <charconv>

#include "core/options/option_catalog.hpp"
#include "core/options/option_texts.hpp"
#include "core/options/option_value_forms.hpp"

namespace corvane {
namespace {

// RFC 2132 section 2: one option carries at most 255 bytes.
constexpr std::size_t longestOptionValue = 255;

struct TypedPrefix {
    std::string_view prefix;
    OptionValueForm form;
};

constexpr std::array typedPrefixes{
    TypedPrefix{"hex:", OptionValueForm::hex},        TypedPrefix{"text:", OptionValueForm::text},
    TypedPrefix{"ip:", OptionValueForm::addressList}, TypedPrefix{"u8:", OptionValueForm::uint8},
    TypedPrefix{"u16:", OptionValueForm::uint16},     TypedPrefix{"u32:", OptionValueForm::uint32},
};

std::variant<Bytes, OptionValueProblem> checkedLength(std::uint8_t code, Bytes bytes) {
    if (bytes.size() > longestOptionValue) {
        return OptionValueProblem{option_texts::tooLong(code)};
    }
    return bytes;
}

} // namespace

std::variant<Bytes, OptionValueProblem> encodeOptionValue(std::uint8_t code,
                                                          std::string_view text) {
    const auto value = option_forms::trimmed(text);
    if (value.empty()) {
        return OptionValueProblem{option_texts::emptyValue(code)};
    }
    for (const auto& typed : typedPrefixes) {
        if (value.starts_with(typed.prefix)) {
            const auto rest = value.substr(typed.prefix.size());
            // text: keeps its blanks: a value may mean them.
            auto bytes = typed.form == OptionValueForm::text && !rest.empty()
                             ? std::optional(Bytes(rest.begin(), rest.end()))
                             : option_forms::encode(typed.form, rest);
            if (!bytes) {
                return OptionValueProblem{option_texts::badTypedValue(
                    code, typed.prefix, option_texts::help(typed.form))};
            }
            return checkedLength(code, std::move(*bytes));
        }
    }
    const auto known = knownOption(code);
    if (!known) {
        return OptionValueProblem{option_texts::noNaturalForm(code)};
    }
    auto bytes = option_forms::encode(known->form, value);
    if (!bytes) {
        return OptionValueProblem{
            option_texts::badNaturalValue(code, known->name, option_texts::help(known->form))};
    }
    return checkedLength(code, std::move(*bytes));
}

std::optional<std::uint8_t> parseOptionCode(std::string_view text) {
    text = option_forms::trimmed(text);
    unsigned code = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, code);
    if (text.empty() || error != std::errc{} || stop != end || code < 1 || code > 254) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(code);
}

std::variant<OptionAssignment, OptionValueProblem> parseOptionAssignment(std::string_view text) {
    const auto equals = text.find('=');
    if (equals == std::string_view::npos) {
        return OptionValueProblem{std::string(option_texts::badAssignment)};
    }
    const auto code = parseOptionCode(text.substr(0, equals));
    if (!code) {
        return OptionValueProblem{std::string(option_texts::badCode)};
    }
    return OptionAssignment{*code, std::string(text.substr(equals + 1))};
}

} // namespace corvane
