#include "core/options/option_value_forms.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "core/address/big_endian.hpp"
#include "core/address/subnet.hpp"

namespace corvane::option_forms {
namespace {

// RFC 1035 section 2.3.4: a label holds at most 63 bytes.
constexpr std::size_t longestLabel = 63;

std::vector<std::string_view> commaSeparated(std::string_view text) {
    std::vector<std::string_view> pieces;
    while (true) {
        const auto comma = text.find(',');
        pieces.push_back(trimmed(text.substr(0, comma)));
        if (comma == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(comma + 1);
    }
}

template <std::size_t Width> void append(Bytes& out, const std::array<std::uint8_t, Width>& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

std::optional<Bytes> addresses(std::string_view text, std::size_t multipleOf) {
    Bytes out;
    const auto pieces = commaSeparated(text);
    if (pieces.size() % multipleOf != 0) {
        return std::nullopt;
    }
    for (const auto piece : pieces) {
        const auto address = IPv4Address::parse(piece);
        if (!address) {
            return std::nullopt;
        }
        append(out, address->bytes());
    }
    return out;
}

template <typename Integer> std::optional<Bytes> number(std::string_view text) {
    Integer value{};
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    using Unsigned = std::make_unsigned_t<Integer>;
    Bytes out;
    append(out, bigEndianBytes(static_cast<Unsigned>(value)));
    return out;
}

std::optional<Bytes> flag(std::string_view text) {
    for (const auto on : {"on", "true", "yes", "1"}) {
        if (text == on) {
            return Bytes{1};
        }
    }
    for (const auto off : {"off", "false", "no", "0"}) {
        if (text == off) {
            return Bytes{0};
        }
    }
    return std::nullopt;
}

bool isLabelCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_';
}

// RFC 3397: each name in DNS wire form (length-prefixed labels, a zero byte to end).
std::optional<Bytes> domainList(std::string_view text) {
    Bytes out;
    for (auto name : commaSeparated(text)) {
        if (name.ends_with('.')) {
            name.remove_suffix(1);
        }
        if (name.empty()) {
            return std::nullopt;
        }
        while (!name.empty()) {
            const auto dot = name.find('.');
            const auto label = name.substr(0, dot);
            if (label.empty() || label.size() > longestLabel ||
                !std::ranges::all_of(label, isLabelCharacter)) {
                return std::nullopt;
            }
            out.push_back(static_cast<std::uint8_t>(label.size()));
            out.insert(out.end(), label.begin(), label.end());
            name = dot == std::string_view::npos ? std::string_view{} : name.substr(dot + 1);
        }
        out.push_back(0);
    }
    return out;
}

// RFC 3442: the prefix width, the destination's significant bytes, then the router.
std::optional<Bytes> classlessRoutes(std::string_view text) {
    const auto pieces = commaSeparated(text);
    if (pieces.size() % 2 != 0) {
        return std::nullopt;
    }
    Bytes out;
    for (std::size_t index = 0; index < pieces.size(); index += 2) {
        const auto destination = Subnet::parse(pieces[index]);
        const auto router = IPv4Address::parse(pieces[index + 1]);
        if (!destination || !router || destination->network() != destination->address) {
            return std::nullopt;
        }
        const auto significant = static_cast<std::size_t>((destination->prefixLength + 7) / 8);
        const auto bytes = destination->address.bytes();
        out.push_back(static_cast<std::uint8_t>(destination->prefixLength));
        out.insert(out.end(), bytes.begin(), bytes.begin() + significant);
        append(out, router->bytes());
    }
    return out;
}

std::optional<std::uint8_t> hexDigit(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint8_t>(character - '0');
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint8_t>(character - 'a' + 10);
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint8_t>(character - 'A' + 10);
    }
    return std::nullopt;
}

// Pairs of digits, optionally separated by colons as MAC addresses are written.
std::optional<Bytes> hex(std::string_view text) {
    std::string digits;
    for (const auto character : text) {
        if (character != ':') {
            digits.push_back(character);
        }
    }
    if (digits.empty() || digits.size() % 2 != 0) {
        return std::nullopt;
    }
    Bytes out;
    for (std::size_t index = 0; index < digits.size(); index += 2) {
        const auto high = hexDigit(digits[index]);
        const auto low = hexDigit(digits[index + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        out.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
    }
    return out;
}

} // namespace

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<Bytes> encode(OptionValueForm form, std::string_view text) {
    text = trimmed(text);
    if (text.empty()) {
        return std::nullopt;
    }
    switch (form) {
    case OptionValueForm::address:
        return text.find(',') == std::string_view::npos ? addresses(text, 1) : std::nullopt;
    case OptionValueForm::addressList:
        return addresses(text, 1);
    case OptionValueForm::addressPairs:
        return addresses(text, 2);
    case OptionValueForm::text:
        return Bytes(text.begin(), text.end());
    case OptionValueForm::uint8:
        return number<std::uint8_t>(text);
    case OptionValueForm::uint16:
        return number<std::uint16_t>(text);
    case OptionValueForm::uint32:
        return number<std::uint32_t>(text);
    case OptionValueForm::int32:
        return number<std::int32_t>(text);
    case OptionValueForm::flag:
        return flag(text);
    case OptionValueForm::domainList:
        return domainList(text);
    case OptionValueForm::classlessRoutes:
        return classlessRoutes(text);
    case OptionValueForm::hex:
        return hex(text);
    }
    return std::nullopt;
}

} // namespace corvane::option_forms
