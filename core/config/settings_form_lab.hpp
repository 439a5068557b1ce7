#pragma once

#include "core/config/settings_form.hpp"

// The settings form's reservations, boot fields and extra options: filled from a
// configuration and read back with a message per mistake. Internal to the settings form.
namespace corvane {

// What the lab fields read as, valid or not; only used when no message was added.
struct LabFields {
    std::vector<Reservation> reservations;
    std::map<std::uint8_t, std::string> options;
    std::optional<IPv4Address> nextServer;
    std::string bootFile;
};

void fillLabFields(SettingsForm& form, const ServerConfig& config);
LabFields readLabFields(const SettingsForm& form, SettingsForm::Messages& errors);

} // namespace corvane
