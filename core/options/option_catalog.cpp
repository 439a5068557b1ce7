#include "core/options/option_catalog.hpp"

#include <algorithm>
#include <array>

namespace corvane {
namespace {

using Form = OptionValueForm;

constexpr std::array catalog{
    KnownOption{2, "Time offset", Form::int32},
    KnownOption{4, "Time servers", Form::addressList},
    KnownOption{5, "Name servers", Form::addressList},
    KnownOption{7, "Log servers", Form::addressList},
    KnownOption{9, "LPR servers", Form::addressList},
    KnownOption{12, "Host name", Form::text},
    KnownOption{13, "Boot file size", Form::uint16},
    KnownOption{15, "Domain name", Form::text},
    KnownOption{16, "Swap server", Form::address},
    KnownOption{17, "Root path", Form::text},
    KnownOption{19, "IP forwarding", Form::flag},
    KnownOption{23, "Default IP TTL", Form::uint8},
    KnownOption{26, "Interface MTU", Form::uint16},
    KnownOption{27, "All subnets are local", Form::flag},
    KnownOption{33, "Static routes", Form::addressPairs},
    KnownOption{35, "ARP cache timeout", Form::uint32},
    KnownOption{37, "TCP default TTL", Form::uint8},
    KnownOption{40, "NIS domain", Form::text},
    KnownOption{41, "NIS servers", Form::addressList},
    KnownOption{42, "NTP servers", Form::addressList},
    KnownOption{43, "Vendor specific", Form::hex},
    KnownOption{44, "NetBIOS name servers", Form::addressList},
    KnownOption{46, "NetBIOS node type", Form::uint8},
    KnownOption{47, "NetBIOS scope", Form::text},
    KnownOption{64, "NIS+ domain", Form::text},
    KnownOption{65, "NIS+ servers", Form::addressList},
    KnownOption{66, "TFTP server name", Form::text},
    KnownOption{69, "SMTP servers", Form::addressList},
    KnownOption{70, "POP3 servers", Form::addressList},
    KnownOption{72, "WWW servers", Form::addressList},
    KnownOption{100, "POSIX time zone", Form::text},
    KnownOption{101, "Time zone name", Form::text},
    KnownOption{114, "Captive portal URL", Form::text},
    KnownOption{119, "Domain search list", Form::domainList},
    KnownOption{121, "Classless static routes", Form::classlessRoutes},
    KnownOption{150, "TFTP server addresses", Form::addressList},
    KnownOption{252, "Proxy auto-config URL", Form::text},
};

static_assert(std::ranges::is_sorted(catalog, {}, &KnownOption::code));

struct OwnedCode {
    std::uint8_t code;
    OwningSetting setting;
};

constexpr std::array ownedCodes{
    OwnedCode{0, OwningSetting::none},      OwnedCode{1, OwningSetting::prefix},
    OwnedCode{3, OwningSetting::router},    OwnedCode{6, OwningSetting::dns},
    OwnedCode{28, OwningSetting::prefix},   OwnedCode{50, OwningSetting::none},
    OwnedCode{51, OwningSetting::lease},    OwnedCode{52, OwningSetting::none},
    OwnedCode{53, OwningSetting::none},     OwnedCode{54, OwningSetting::serverIP},
    OwnedCode{55, OwningSetting::none},     OwnedCode{58, OwningSetting::lease},
    OwnedCode{59, OwningSetting::lease},    OwnedCode{61, OwningSetting::none},
    OwnedCode{67, OwningSetting::bootFile}, OwnedCode{255, OwningSetting::none},
};

} // namespace

std::span<const KnownOption> knownOptions() {
    return catalog;
}

std::optional<KnownOption> knownOption(std::uint8_t code) {
    const auto found = std::ranges::lower_bound(catalog, code, {}, &KnownOption::code);
    if (found == catalog.end() || found->code != code) {
        return std::nullopt;
    }
    return *found;
}

std::optional<OwningSetting> serverOwnedOption(std::uint8_t code) {
    const auto found = std::ranges::find(ownedCodes, code, &OwnedCode::code);
    if (found == ownedCodes.end()) {
        return std::nullopt;
    }
    return found->setting;
}

} // namespace corvane
