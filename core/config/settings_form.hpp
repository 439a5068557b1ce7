#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/config/lease_preset.hpp"
#include "core/config/server_config.hpp"

namespace corvane {

// The settings sheet's editable twin of `ServerConfig`: the texts as typed, plus the lease
// picker. It holds nothing else, so evaluating it again always gives the same answer.
struct SettingsForm {
    // The sheet's areas, each showing its own messages; `server` covers address and prefix.
    enum class Field { server, range, lease, gateway, dns, reservations, boot, options };
    // Messages per area, in the order they were found. An area without problems has no
    // entry at all, never an empty list.
    using Messages = std::map<Field, std::vector<std::string>>;

    // Either a configuration that passed every rule, or the messages that explain why not.
    struct Evaluation {
        std::optional<ServerConfig> config;
        Messages errors;

        friend bool operator==(const Evaluation&, const Evaluation&) = default;
    };

    std::string serverIP;
    std::string prefix;
    std::string rangeStart;
    std::string rangeEnd;
    LeasePreset leasePreset = LeasePreset::oneDay;
    // Read with `parseDuration` when the picker says `custom`; ignored otherwise.
    std::string customLease;
    // Empty for no gateway.
    std::string router;
    // Addresses separated by commas; empty for none.
    std::string dns;

    // One row of the Reservations list, as typed.
    struct ReservationRow {
        std::string mac;
        std::string ip;
        std::string name;
        friend bool operator==(const ReservationRow&, const ReservationRow&) = default;
    };
    // One row of the extra options table: a code and a value in the `--option` syntax.
    struct OptionRow {
        std::string code;
        std::string value;
        friend bool operator==(const OptionRow&, const OptionRow&) = default;
    };
    std::vector<ReservationRow> reservations;
    // Empty for no boot server or no boot file.
    std::string nextServer;
    std::string bootFile;
    std::vector<OptionRow> options;

    SettingsForm() = default;
    // The texts that show `config`; evaluating them unchanged gives `config` back.
    explicit SettingsForm(const ServerConfig& config);

    Evaluation evaluate() const;
    std::optional<ServerConfig> config() const { return evaluate().config; }
    Messages errors() const { return evaluate().errors; }
    // The lease time the form stands for, if it can be read.
    std::optional<std::uint32_t> leaseSeconds() const;
    // The size of the typed pool, shown while the user types; no value while either end is
    // not an address or the range is reversed.
    std::optional<std::int64_t> rangeCount() const;

    friend bool operator==(const SettingsForm&, const SettingsForm&) = default;
};

} // namespace corvane
