#pragma once

#include <optional>
#include <string_view>

#include "core/address/ipv4_address.hpp"
#include "core/options/option_catalog.hpp"

// The encoders behind `encodeOptionValue`, one per value form. Each gives no value when the
// text does not have its form. Internal to the options module.
namespace corvane::option_forms {

std::optional<Bytes> encode(OptionValueForm form, std::string_view text);

// Blanks (spaces and tabs) removed from both ends.
std::string_view trimmed(std::string_view text);

} // namespace corvane::option_forms
