#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace corvane {

// One line of the checklist shown before a start.
struct PreflightCheck {
    enum class ID {
        wired,
        foreignDHCP,
        adapterConfigured,
        subnetOverlap,
        vpnOverlap,
        port67,
        link,
        vmware,
        // The active look for another DHCP server on the cable; only when it was made.
        otherServer
    };
    // `warn` never blocks a start; `fail` does.
    enum class Status { pass, warn, fail };

    // Sets the named network service to the server's address.
    struct ConfigureAdapter {
        std::string service;
        friend bool operator==(const ConfigureAdapter&, const ConfigureAdapter&) = default;
    };
    using Fix = std::variant<ConfigureAdapter>;

    ID id = ID::wired;
    Status status = Status::pass;
    std::string message;
    std::optional<Fix> fix;

    friend bool operator==(const PreflightCheck&, const PreflightCheck&) = default;
};

std::string_view idName(PreflightCheck::ID id);
std::string_view statusName(PreflightCheck::Status status);
// ✓, ⚠ or ✗.
std::string_view statusSymbol(PreflightCheck::Status status);

} // namespace corvane
