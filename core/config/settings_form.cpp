#include "core/config/settings_form.hpp"

#include <charconv>
#include <string_view>

#include "core/config/config_texts.hpp"
#include "core/config/duration_text.hpp"
#include "core/config/settings_form_lab.hpp"

namespace corvane {
namespace {

// Blanks are spaces and tabs only: a line break pasted into a field is a typing mistake
// worth a message, not something to hide.
std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

// Optional sign, then decimal digits, within 64 bits.
std::optional<std::int64_t> signedInteger(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') {
            return std::nullopt;
        }
    }
    std::int64_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

// Commas separate; empty and blank pieces are skipped so "a, ,b," reads as two addresses.
// No value when any piece is not an address.
std::optional<std::vector<IPv4Address>> addressList(std::string_view text) {
    std::vector<IPv4Address> addresses;
    while (!text.empty()) {
        const auto comma = text.find(',');
        const auto piece = trimmed(text.substr(0, comma));
        text = comma == std::string_view::npos ? std::string_view{} : text.substr(comma + 1);
        if (piece.empty()) {
            continue;
        }
        const auto address = IPv4Address::parse(piece);
        if (!address) {
            return std::nullopt;
        }
        addresses.push_back(*address);
    }
    return addresses;
}

SettingsForm::Field fieldShowing(ConfigError::Kind kind) {
    using Kind = ConfigError::Kind;
    using Field = SettingsForm::Field;
    switch (kind) {
    case Kind::prefixOutOfBounds:
    case Kind::serverIPIsNetworkOrBroadcast:
    case Kind::serverIPInsideRange:
        return Field::server;
    case Kind::rangeOutsideSubnet:
    case Kind::rangeReversed:
    case Kind::rangeIncludesNetworkOrBroadcast:
        return Field::range;
    case Kind::gatewayOutsideSubnet:
        return Field::gateway;
    case Kind::leaseTimeOutOfBounds:
        return Field::lease;
    case Kind::tooManyDNSServers:
        return Field::dns;
    case Kind::reservationOutsideSubnet:
    case Kind::reservationOnServerIP:
    case Kind::addressReservedTwice:
    case Kind::deviceReservedTwice:
        return Field::reservations;
    case Kind::bootFileTooLong:
        return Field::boot;
    case Kind::optionOwnedByServer:
    case Kind::optionValueInvalid:
        return Field::options;
    }
    return Field::server;
}

std::string decimalLeaseText(std::uint32_t seconds) {
    return std::to_string(seconds) + "s";
}

std::string joinedAddresses(const std::vector<IPv4Address>& addresses) {
    std::string text;
    for (const auto& address : addresses) {
        text += (text.empty() ? "" : ", ") + address.description();
    }
    return text;
}

} // namespace

SettingsForm::SettingsForm(const ServerConfig& config)
    : serverIP(config.serverIP.description()), prefix(std::to_string(config.prefixLength)),
      rangeStart(config.rangeStart.description()), rangeEnd(config.rangeEnd.description()),
      leasePreset(LeasePreset::custom), router(config.router ? config.router->description() : ""),
      dns(joinedAddresses(config.dns)) {
    fillLabFields(*this, config);
    for (const auto preset : allLeasePresets) {
        if (leasePresetSeconds(preset) == config.leaseSeconds) {
            leasePreset = preset;
            return;
        }
    }
    customLease = decimalLeaseText(config.leaseSeconds);
}

std::optional<std::uint32_t> SettingsForm::leaseSeconds() const {
    if (leasePreset == LeasePreset::custom) {
        return parseDuration(trimmed(customLease));
    }
    return leasePresetSeconds(leasePreset);
}

std::optional<std::int64_t> SettingsForm::rangeCount() const {
    const auto start = IPv4Address::parse(trimmed(rangeStart));
    const auto end = IPv4Address::parse(trimmed(rangeEnd));
    if (!start || !end || *end < *start) {
        return std::nullopt;
    }
    return AddressRange{*start, *end}.count();
}

SettingsForm::Evaluation SettingsForm::evaluate() const {
    Evaluation result;
    const auto add = [&result](Field field, std::string_view message) {
        result.errors[field].emplace_back(message);
    };

    const auto server = IPv4Address::parse(trimmed(serverIP));
    if (!server) {
        add(Field::server, config_texts::serverIPNotAnAddress);
    }
    const auto prefixLength = signedInteger(trimmed(prefix));
    if (!prefixLength) {
        add(Field::server, config_texts::prefixNotANumber);
    }
    const auto start = IPv4Address::parse(trimmed(rangeStart));
    const auto end = IPv4Address::parse(trimmed(rangeEnd));
    if (!start || !end) {
        add(Field::range, config_texts::rangeNotAddresses);
    }
    const auto lease = leaseSeconds();
    if (!lease) {
        add(Field::lease, config_texts::leaseNotADuration);
    }
    std::optional<IPv4Address> gateway;
    if (const auto text = trimmed(router); !text.empty()) {
        gateway = IPv4Address::parse(text);
        if (!gateway) {
            add(Field::gateway, config_texts::gatewayNotAnAddress);
        }
    }
    const auto servers = addressList(dns);
    if (!servers) {
        add(Field::dns, config_texts::dnsNotAddresses);
    }
    auto lab = readLabFields(*this, result.errors);
    if (!result.errors.empty()) {
        return result;
    }

    ServerConfig candidate{
        .serverIP = *server,
        .prefixLength = *prefixLength,
        .rangeStart = *start,
        .rangeEnd = *end,
        .leaseSeconds = *lease,
        .router = gateway,
        .dns = *servers,
    };
    candidate.reservations = std::move(lab.reservations);
    candidate.options = std::move(lab.options);
    candidate.nextServer = lab.nextServer;
    candidate.bootFile = std::move(lab.bootFile);
    for (const auto& error : candidate.validate()) {
        add(fieldShowing(error.kind()), error.description());
    }
    if (result.errors.empty()) {
        result.config = candidate;
    }
    return result;
}

} // namespace corvane
