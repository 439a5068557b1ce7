#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace corvane {

// How the text of a known option turns into its bytes (RFC 2132 and the RFCs that added
// codes since).
enum class OptionValueForm {
    address,
    addressList,
    addressPairs,
    text,
    uint8,
    uint16,
    uint32,
    int32,
    flag,
    domainList,
    classlessRoutes,
    hex,
};

// An option whose value the user may write in its natural form, with the name the
// settings window shows beside its code.
struct KnownOption {
    std::uint8_t code;
    std::string_view name;
    OptionValueForm form;
};

// The server setting that already writes an option the server owns, so a message can
// point the user there instead.
enum class OwningSetting { none, serverIP, prefix, lease, router, dns, bootFile };

// Every option with a natural value form, in code order.
std::span<const KnownOption> knownOptions();
std::optional<KnownOption> knownOption(std::uint8_t code);

// Options the server writes itself or that only clients send (message type, server
// identifier, lease times, mask, broadcast, router, DNS, requested address, parameter list,
// client identifier, overload, pad, end; and the boot file, which has its own setting). No
// value for a code the user may configure.
std::optional<OwningSetting> serverOwnedOption(std::uint8_t code);

} // namespace corvane
