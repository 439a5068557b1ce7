#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/options/option_catalog.hpp"

// The sentences about option values, in one place.
namespace corvane::option_texts {

// What a value of each form looks like, and an example of one.
struct FormHelp {
    std::string_view expected;
    std::string_view example;
};

inline FormHelp help(OptionValueForm form) {
    switch (form) {
    case OptionValueForm::address:
        return {"an IPv4 address", "192.168.0.10"};
    case OptionValueForm::addressList:
        return {"IPv4 addresses separated by commas", "192.168.0.10,192.168.0.11"};
    case OptionValueForm::addressPairs:
        return {"pairs of destination and router addresses separated by commas",
                "10.0.0.0,192.168.0.1"};
    case OptionValueForm::text:
        return {"some text", "tftp.lab"};
    case OptionValueForm::uint8:
        return {"a whole number from 0 to 255", "64"};
    case OptionValueForm::uint16:
        return {"a whole number from 0 to 65535", "1500"};
    case OptionValueForm::uint32:
        return {"a whole number from 0 to 4294967295", "3600"};
    case OptionValueForm::int32:
        return {"a whole number from -2147483648 to 2147483647", "-18000"};
    case OptionValueForm::flag:
        return {"on or off", "on"};
    case OptionValueForm::domainList:
        return {"domain names separated by commas", "lab.example,example.com"};
    case OptionValueForm::classlessRoutes:
        return {"destination/prefix and router pairs separated by commas",
                "10.0.0.0/8,192.168.0.1"};
    case OptionValueForm::hex:
        return {"pairs of hexadecimal digits", "0a0b0c"};
    }
    return {"a value", "hex:0a0b0c"};
}

inline std::string badNaturalValue(std::uint8_t code, std::string_view name, FormHelp form) {
    return "Option " + std::to_string(code) + " (" + std::string(name) + ") needs " +
           std::string(form.expected) + ", such as " + std::to_string(code) + "=" +
           std::string(form.example) + ".";
}
inline std::string badTypedValue(std::uint8_t code, std::string_view prefix, FormHelp form) {
    return "Option " + std::to_string(code) + " needs " + std::string(form.expected) + " after " +
           std::string(prefix) + ", such as " + std::to_string(code) + "=" + std::string(prefix) +
           std::string(form.example) + ".";
}
inline std::string noNaturalForm(std::uint8_t code) {
    const auto number = std::to_string(code);
    return "Option " + number +
           " has no known value form; write it as hex:, text:, ip:, u8:, u16: or u32:, such as " +
           number + "=hex:0a0b0c.";
}
inline std::string tooLong(std::uint8_t code) {
    return "Option " + std::to_string(code) +
           " is longer than the 255 bytes one option can hold; shorten it.";
}
inline std::string emptyValue(std::uint8_t code) {
    return "Option " + std::to_string(code) + " needs a value after the equals sign.";
}
inline constexpr std::string_view badAssignment =
    "An option must be written as CODE=VALUE, such as 66=tftp.lab.";
inline constexpr std::string_view badCode = "An option code must be a number from 1 to 254.";

} // namespace corvane::option_texts
