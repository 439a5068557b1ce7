#include "core/events/notice_kind.hpp"

#include <string>

#include <nlohmann/json.hpp>

#include "core/address/address_json.hpp"

namespace corvane {

std::string_view noticeKindName(NoticeKind kind) {
    switch (kind) {
    case NoticeKind::localNetworkDenied:
        return "localNetworkDenied";
    case NoticeKind::otherServer:
        return "otherServer";
    case NoticeKind::portInUse:
        return "portInUse";
    case NoticeKind::leaseSaveFailed:
        return "leaseSaveFailed";
    case NoticeKind::linkDown:
        return "linkDown";
    case NoticeKind::adapterUnplugged:
        return "adapterUnplugged";
    case NoticeKind::leaseFileSetAside:
        return "leaseFileSetAside";
    }
    return "";
}

std::optional<NoticeKind> noticeKindNamed(std::string_view name) {
    for (const auto kind : allNoticeKinds) {
        if (noticeKindName(kind) == name) {
            return kind;
        }
    }
    return std::nullopt;
}

void to_json(nlohmann::json& document, NoticeKind kind) {
    document = std::string(noticeKindName(kind));
}

void from_json(const nlohmann::json& document, NoticeKind& kind) {
    const auto name = document.get<std::string>();
    const auto parsed = noticeKindNamed(name);
    if (!parsed) {
        throw DecodingError("Not a notice kind: " + name);
    }
    kind = *parsed;
}

} // namespace corvane
