#pragma once

#include <array>
#include <optional>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace corvane {

// The kinds of problem the user is shown, in the order banners are listed. The text form of
// each kind is its case name.
enum class NoticeKind {
    localNetworkDenied,
    otherServer,
    portInUse,
    leaseSaveFailed,
    linkDown,
    adapterUnplugged,
    leaseFileSetAside,
};

inline constexpr std::array<NoticeKind, 7> allNoticeKinds = {
    NoticeKind::localNetworkDenied, NoticeKind::otherServer, NoticeKind::portInUse,
    NoticeKind::leaseSaveFailed,    NoticeKind::linkDown,    NoticeKind::adapterUnplugged,
    NoticeKind::leaseFileSetAside,
};

std::string_view noticeKindName(NoticeKind kind);
// Exactly one of the seven case names, case-sensitive; anything else gives no value.
std::optional<NoticeKind> noticeKindNamed(std::string_view name);

// Critical kinds mean no device can be served at all; the others are waiting or passing
// states.
constexpr bool isCritical(NoticeKind kind) {
    switch (kind) {
    case NoticeKind::localNetworkDenied:
    case NoticeKind::otherServer:
    case NoticeKind::portInUse:
    case NoticeKind::leaseSaveFailed:
        return true;
    case NoticeKind::linkDown:
    case NoticeKind::adapterUnplugged:
    case NoticeKind::leaseFileSetAside:
        return false;
    }
    return false;
}

// JSON carries a kind as its name; an unknown name throws DecodingError.
void to_json(nlohmann::json& document, NoticeKind kind);
void from_json(const nlohmann::json& document, NoticeKind& kind);

} // namespace corvane
