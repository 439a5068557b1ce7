#include <algorithm>

#include "cli/cli_texts.hpp"
#include "cli/config_flags.hpp"
#include "core/config/config_texts.hpp"
#include "core/options/option_value.hpp"

namespace corvane::cli {
namespace {

// The flag that sets what an owned option carries; empty when no flag does.
std::string_view owningFlag(OwningSetting owner) {
    switch (owner) {
    case OwningSetting::serverIP:
        return "--server-ip";
    case OwningSetting::prefix:
        return "--prefix";
    case OwningSetting::lease:
        return "--lease";
    case OwningSetting::router:
        return "--router";
    case OwningSetting::dns:
        return "--dns";
    case OwningSetting::bootFile:
        return "--boot-file";
    case OwningSetting::none:
        break;
    }
    return {};
}

} // namespace

void ConfigFlags::applyLabFlags(ServerConfig& config, std::vector<std::string>& problems) const {
    reservationFlags_.clear();
    optionFlags_.clear();
    for (const auto& text : reservations_) {
        auto parsed = parseReservation(text);
        if (const auto* problem = std::get_if<std::string>(&parsed)) {
            problems.push_back(texts::flagProblem("--reserve", text, *problem));
            continue;
        }
        auto& reservation = std::get<Reservation>(parsed);
        // A flag for a device the file already reserves replaces that reservation.
        std::erase_if(config.reservations, [&](const Reservation& earlier) {
            return earlier.mac == reservation.mac && flagOf(earlier) == nullptr;
        });
        reservationFlags_.emplace_back(reservation, text);
        config.reservations.push_back(std::move(reservation));
    }
    for (const auto& text : options_) {
        const auto parsed = parseOptionAssignment(text);
        if (const auto* problem = std::get_if<OptionValueProblem>(&parsed)) {
            problems.push_back(texts::flagProblem("--option", text, problem->sentence));
            continue;
        }
        const auto& assignment = std::get<OptionAssignment>(parsed);
        if (!optionFlags_.try_emplace(assignment.code, text).second) {
            problems.push_back(texts::flagProblem("--option", text,
                                                  config_texts::optionGivenTwice(assignment.code)));
            continue;
        }
        config.options[assignment.code] = assignment.value;
    }
    if (nextServerOption_ != nullptr && nextServerOption_->count() > 0) {
        if (nextServer_.empty()) {
            config.nextServer.reset();
        } else if (const auto address = IPv4Address::parse(nextServer_)) {
            config.nextServer = *address;
        } else {
            problems.push_back(texts::badAddress("--next-server", nextServer_));
        }
    }
    if (bootFileOption_ != nullptr && bootFileOption_->count() > 0) {
        config.bootFile = bootFile_;
    }
}

const std::string* ConfigFlags::flagOf(const Reservation& reservation) const {
    const auto found = std::ranges::find(reservationFlags_, reservation,
                                         &std::pair<Reservation, std::string>::first);
    return found == reservationFlags_.end() ? nullptr : &found->second;
}

std::string ConfigFlags::explain(const ConfigError& error, const ServerConfig& config) const {
    auto sentence = error.description();
    if (const auto option = error.optionIssue()) {
        if (error.kind() == ConfigError::Kind::optionOwnedByServer) {
            sentence = texts::ownedOption(option->code, owningFlag(option->owner));
        }
        if (const auto flag = optionFlags_.find(option->code); flag != optionFlags_.end()) {
            return texts::flagProblem("--option", flag->second, sentence);
        }
    } else if (const auto reservation = error.reservationIssue()) {
        if (const auto* flag = flagOf(reservation->reservation)) {
            return texts::flagProblem("--reserve", *flag, sentence);
        }
    } else if (error.kind() == ConfigError::Kind::bootFileTooLong && bootFileOption_ != nullptr &&
               bootFileOption_->count() > 0) {
        return texts::flagProblem("--boot-file", config.bootFile, sentence);
    }
    if (!configFile_.empty()) {
        return texts::flagProblem("--config", configFile_, sentence);
    }
    return sentence;
}

} // namespace corvane::cli
