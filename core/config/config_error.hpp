#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "core/address/subnet.hpp"
#include "core/config/reservation.hpp"
#include "core/options/option_catalog.hpp"

namespace corvane {

// The reservation a rule is about, and the subnet it had to be inside when that is the rule.
struct ReservationIssue {
    Reservation reservation;
    std::optional<Subnet> subnet;
    friend bool operator==(const ReservationIssue&, const ReservationIssue&) = default;
};

// The option a rule is about: the setting that owns its code, or why its value is refused.
struct OptionIssue {
    std::uint8_t code = 0;
    OwningSetting owner = OwningSetting::none;
    std::string sentence;
    friend bool operator==(const OptionIssue&, const OptionIssue&) = default;
};

// One rule that a server configuration breaks. The kind decides the payload: a prefix for
// `prefixOutOfBounds`, the server's subnet for the two "outside" cases, nothing otherwise;
// the named constructors are the only way in, so the two always agree.
class ConfigError {
public:
    enum class Kind {
        prefixOutOfBounds,
        rangeOutsideSubnet,
        gatewayOutsideSubnet,
        serverIPIsNetworkOrBroadcast,
        rangeReversed,
        rangeIncludesNetworkOrBroadcast,
        serverIPInsideRange,
        leaseTimeOutOfBounds,
        tooManyDNSServers,
        reservationOutsideSubnet,
        reservationOnServerIP,
        addressReservedTwice,
        deviceReservedTwice,
        optionOwnedByServer,
        optionValueInvalid,
        bootFileTooLong,
    };

    static ConfigError prefixOutOfBounds(std::int64_t prefix) {
        return ConfigError(Kind::prefixOutOfBounds, prefix);
    }
    static ConfigError rangeOutsideSubnet(Subnet subnet) {
        return ConfigError(Kind::rangeOutsideSubnet, subnet);
    }
    static ConfigError gatewayOutsideSubnet(Subnet subnet) {
        return ConfigError(Kind::gatewayOutsideSubnet, subnet);
    }
    static ConfigError serverIPIsNetworkOrBroadcast() {
        return ConfigError(Kind::serverIPIsNetworkOrBroadcast, {});
    }
    static ConfigError rangeReversed() { return ConfigError(Kind::rangeReversed, {}); }
    static ConfigError rangeIncludesNetworkOrBroadcast() {
        return ConfigError(Kind::rangeIncludesNetworkOrBroadcast, {});
    }
    static ConfigError serverIPInsideRange() { return ConfigError(Kind::serverIPInsideRange, {}); }
    static ConfigError leaseTimeOutOfBounds() {
        return ConfigError(Kind::leaseTimeOutOfBounds, {});
    }
    static ConfigError tooManyDNSServers() { return ConfigError(Kind::tooManyDNSServers, {}); }
    static ConfigError reservationOutsideSubnet(Reservation reservation, Subnet subnet) {
        return ConfigError(Kind::reservationOutsideSubnet,
                           ReservationIssue{std::move(reservation), subnet});
    }
    static ConfigError reservationOnServerIP(Reservation reservation) {
        return ConfigError(Kind::reservationOnServerIP,
                           ReservationIssue{std::move(reservation), std::nullopt});
    }
    // `later` is the second reservation of the address or device, the one to drop.
    static ConfigError addressReservedTwice(Reservation later) {
        return ConfigError(Kind::addressReservedTwice, ReservationIssue{std::move(later), {}});
    }
    static ConfigError deviceReservedTwice(Reservation later) {
        return ConfigError(Kind::deviceReservedTwice, ReservationIssue{std::move(later), {}});
    }
    static ConfigError optionOwnedByServer(std::uint8_t code, OwningSetting owner) {
        return ConfigError(Kind::optionOwnedByServer, OptionIssue{code, owner, {}});
    }
    static ConfigError optionValueInvalid(std::uint8_t code, std::string sentence) {
        return ConfigError(Kind::optionValueInvalid,
                           OptionIssue{code, OwningSetting::none, std::move(sentence)});
    }
    static ConfigError bootFileTooLong() { return ConfigError(Kind::bootFileTooLong, {}); }

    Kind kind() const { return kind_; }
    // The rejected prefix of `prefixOutOfBounds`; no value for every other kind.
    std::optional<std::int64_t> prefix() const;
    // The subnet named by the two "outside" kinds; no value for every other kind.
    std::optional<Subnet> subnet() const;
    // The reservation named by the reservation kinds; no value for every other kind.
    std::optional<ReservationIssue> reservationIssue() const;
    // The option named by the option kinds; no value for every other kind.
    std::optional<OptionIssue> optionIssue() const;
    // The sentence shown to the user under the settings field at fault.
    std::string description() const;

    friend bool operator==(const ConfigError&, const ConfigError&) = default;

private:
    using Payload =
        std::variant<std::monostate, std::int64_t, Subnet, ReservationIssue, OptionIssue>;

    ConfigError(Kind kind, Payload payload) : kind_(kind), payload_(payload) {}

    Kind kind_;
    Payload payload_;
};

} // namespace corvane
