#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "core/address/ipv4_address.hpp"
#include "core/events/notice_kind.hpp"

namespace corvane {

// One condition the user must see, with its finished message. Its identity is its kind, so
// a collection keyed by `id()` holds at most one notice per kind.
struct Notice {
    NoticeKind kind = NoticeKind::linkDown;
    std::string message;

    NoticeKind id() const { return kind; }
    bool isCritical() const { return corvane::isCritical(kind); }

    static Notice localNetworkDenied();
    static Notice otherServer(IPv4Address server);
    static Notice portInUse(std::string_view holder);
    static Notice leaseSaveFailed(std::string_view error);
    static Notice leaseFileUnreadable(std::string_view error);
    static Notice linkDown(std::string_view card);
    static Notice adapterUnplugged();
    // Names only the file the damaged lease file was moved to, not its folder.
    // With `keptLeases`, only some records were damaged and the rest are kept.
    static Notice leaseFileSetAside(const std::filesystem::path& movedTo,
                                    std::size_t keptLeases = 0);

    friend bool operator==(const Notice&, const Notice&) = default;
};

} // namespace corvane
