#include "core/config/settings_form_lab.hpp"

#include "core/config/config_texts.hpp"
#include "core/options/option_value.hpp"

namespace corvane {
namespace {

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

void readReservations(const SettingsForm& form, LabFields& lab,
                      std::vector<std::string>& messages) {
    for (const auto& row : form.reservations) {
        const auto mac = MACAddress::parse(trimmed(row.mac));
        const auto ip = IPv4Address::parse(trimmed(row.ip));
        if (!mac) {
            messages.push_back(config_texts::reservationBadMAC(row.mac));
        }
        if (!ip) {
            messages.push_back(config_texts::reservationBadAddress(row.ip));
        }
        if (mac && ip) {
            lab.reservations.push_back({*mac, *ip, std::string(trimmed(row.name))});
        }
    }
}

void readOptions(const SettingsForm& form, LabFields& lab, std::vector<std::string>& messages) {
    for (const auto& row : form.options) {
        const auto code = parseOptionCode(row.code);
        if (!code) {
            messages.push_back(config_texts::optionCodeNotANumber(row.code));
        } else if (lab.options.contains(*code)) {
            messages.push_back(config_texts::optionGivenTwice(*code));
        } else if (const auto owner = serverOwnedOption(*code)) {
            // Judged per row, so a mistake shows at once even while another page has one.
            messages.push_back(ConfigError::optionOwnedByServer(*code, *owner).description());
        } else if (const auto encoded = encodeOptionValue(*code, row.value);
                   const auto* problem = std::get_if<OptionValueProblem>(&encoded)) {
            messages.push_back(problem->sentence);
        } else {
            lab.options[*code] = row.value;
        }
    }
}

} // namespace

void fillLabFields(SettingsForm& form, const ServerConfig& config) {
    for (const auto& reservation : config.reservations) {
        form.reservations.push_back(
            {reservation.mac.description(), reservation.ip.description(), reservation.name});
    }
    form.nextServer = config.nextServer ? config.nextServer->description() : "";
    form.bootFile = config.bootFile;
    for (const auto& [code, value] : config.options) {
        form.options.push_back({std::to_string(code), value});
    }
}

LabFields readLabFields(const SettingsForm& form, SettingsForm::Messages& errors) {
    using Field = SettingsForm::Field;
    LabFields lab;
    std::vector<std::string> reservationMessages;
    readReservations(form, lab, reservationMessages);
    if (!reservationMessages.empty()) {
        errors[Field::reservations] = std::move(reservationMessages);
    }
    if (const auto text = trimmed(form.nextServer); !text.empty()) {
        lab.nextServer = IPv4Address::parse(text);
        if (!lab.nextServer) {
            errors[Field::boot].emplace_back(config_texts::nextServerNotAnAddress);
        }
    }
    lab.bootFile = std::string(trimmed(form.bootFile));
    std::vector<std::string> optionMessages;
    readOptions(form, lab, optionMessages);
    if (!optionMessages.empty()) {
        errors[Field::options] = std::move(optionMessages);
    }
    return lab;
}

} // namespace corvane
