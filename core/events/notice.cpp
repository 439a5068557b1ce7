#include "core/events/notice.hpp"

#include "core/events/notice_texts.hpp"

namespace corvane {

Notice Notice::localNetworkDenied() {
    return {NoticeKind::localNetworkDenied, notice_texts::localNetworkDenied()};
}

Notice Notice::otherServer(IPv4Address server) {
    return {NoticeKind::otherServer, notice_texts::otherServer(server)};
}

Notice Notice::portInUse(std::string_view holder) {
    return {NoticeKind::portInUse, notice_texts::portInUse(holder)};
}

Notice Notice::leaseSaveFailed(std::string_view error) {
    return {NoticeKind::leaseSaveFailed, notice_texts::leaseSaveFailed(error)};
}

Notice Notice::leaseFileUnreadable(std::string_view error) {
    return {NoticeKind::leaseSaveFailed, notice_texts::leaseFileUnreadable(error)};
}

Notice Notice::linkDown(std::string_view card) {
    return {NoticeKind::linkDown, notice_texts::linkDown(card)};
}

Notice Notice::adapterUnplugged() {
    return {NoticeKind::adapterUnplugged, notice_texts::adapterUnplugged()};
}

Notice Notice::leaseFileSetAside(const std::filesystem::path& movedTo, std::size_t keptLeases) {
    const auto name = movedTo.filename().string();
    return {NoticeKind::leaseFileSetAside, keptLeases == 0
                                               ? notice_texts::leaseFileSetAside(name)
                                               : notice_texts::leaseFileRepaired(name, keptLeases)};
}

} // namespace corvane
