#include "core/config/config_error.hpp"

#include "core/config/config_texts.hpp"

namespace corvane {

std::optional<std::int64_t> ConfigError::prefix() const {
    if (const auto* prefix = std::get_if<std::int64_t>(&payload_)) {
        return *prefix;
    }
    return std::nullopt;
}

std::optional<Subnet> ConfigError::subnet() const {
    if (const auto* subnet = std::get_if<Subnet>(&payload_)) {
        return *subnet;
    }
    return std::nullopt;
}

std::optional<ReservationIssue> ConfigError::reservationIssue() const {
    if (const auto* issue = std::get_if<ReservationIssue>(&payload_)) {
        return *issue;
    }
    return std::nullopt;
}

std::optional<OptionIssue> ConfigError::optionIssue() const {
    if (const auto* issue = std::get_if<OptionIssue>(&payload_)) {
        return *issue;
    }
    return std::nullopt;
}

std::string ConfigError::description() const {
    switch (kind_) {
    case Kind::prefixOutOfBounds:
        return config_texts::prefixOutOfBounds(*prefix());
    case Kind::rangeOutsideSubnet:
        return config_texts::rangeOutsideSubnet(*subnet());
    case Kind::gatewayOutsideSubnet:
        return config_texts::gatewayOutsideSubnet(*subnet());
    case Kind::serverIPIsNetworkOrBroadcast:
        return std::string(config_texts::serverIPIsNetworkOrBroadcast);
    case Kind::rangeReversed:
        return std::string(config_texts::rangeReversed);
    case Kind::rangeIncludesNetworkOrBroadcast:
        return std::string(config_texts::rangeIncludesNetworkOrBroadcast);
    case Kind::serverIPInsideRange:
        return std::string(config_texts::serverIPInsideRange);
    case Kind::leaseTimeOutOfBounds:
        return std::string(config_texts::leaseTimeOutOfBounds);
    case Kind::tooManyDNSServers:
        return std::string(config_texts::tooManyDNSServers);
    case Kind::reservationOutsideSubnet: {
        const auto issue = *reservationIssue();
        return config_texts::reservationOutsideSubnet(issue.reservation.mac, issue.reservation.ip,
                                                      *issue.subnet);
    }
    case Kind::reservationOnServerIP: {
        const auto issue = *reservationIssue();
        return config_texts::reservationOnServerIP(issue.reservation.mac, issue.reservation.ip);
    }
    case Kind::addressReservedTwice:
        return config_texts::addressReservedTwice(reservationIssue()->reservation.ip);
    case Kind::deviceReservedTwice:
        return config_texts::deviceReservedTwice(reservationIssue()->reservation.mac);
    case Kind::optionOwnedByServer: {
        const auto issue = *optionIssue();
        return config_texts::optionOwnedByServer(issue.code,
                                                 config_texts::settingFieldName(issue.owner));
    }
    case Kind::optionValueInvalid:
        return optionIssue()->sentence;
    case Kind::bootFileTooLong:
        return std::string(config_texts::bootFileTooLong);
    }
    return {};
}

} // namespace corvane
