#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/config/config_texts.hpp"

namespace corvane {

// The lease times offered on the settings sheet's picker; `custom` lets the typed text
// decide.
enum class LeasePreset { oneHour, eightHours, oneDay, sevenDays, custom };

inline constexpr std::array<LeasePreset, 5> allLeasePresets = {
    LeasePreset::oneHour, LeasePreset::eightHours, LeasePreset::oneDay, LeasePreset::sevenDays,
    LeasePreset::custom};

// The stored text value, equal to the case name.
constexpr std::string_view leasePresetName(LeasePreset preset) {
    switch (preset) {
    case LeasePreset::oneHour:
        return "oneHour";
    case LeasePreset::eightHours:
        return "eightHours";
    case LeasePreset::oneDay:
        return "oneDay";
    case LeasePreset::sevenDays:
        return "sevenDays";
    case LeasePreset::custom:
        return "custom";
    }
    return "custom";
}

constexpr std::optional<LeasePreset> leasePresetNamed(std::string_view name) {
    for (const auto preset : allLeasePresets) {
        if (leasePresetName(preset) == name) {
            return preset;
        }
    }
    return std::nullopt;
}

// The text shown on the picker.
constexpr std::string_view leasePresetLabel(LeasePreset preset) {
    switch (preset) {
    case LeasePreset::oneHour:
        return config_texts::oneHourLabel;
    case LeasePreset::eightHours:
        return config_texts::eightHoursLabel;
    case LeasePreset::oneDay:
        return config_texts::oneDayLabel;
    case LeasePreset::sevenDays:
        return config_texts::sevenDaysLabel;
    case LeasePreset::custom:
        return config_texts::customLeaseLabel;
    }
    return config_texts::customLeaseLabel;
}

// No value for `custom`, whose time comes from the typed text.
constexpr std::optional<std::uint32_t> leasePresetSeconds(LeasePreset preset) {
    switch (preset) {
    case LeasePreset::oneHour:
        return 3600;
    case LeasePreset::eightHours:
        return 28800;
    case LeasePreset::oneDay:
        return 86400;
    case LeasePreset::sevenDays:
        return 604800;
    case LeasePreset::custom:
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace corvane
