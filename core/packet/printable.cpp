#include "core/packet/dhcp_packet.hpp"

namespace corvane {

std::string DHCPPacket::printable(std::span<const std::uint8_t> bytes, std::size_t limit) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const auto byte : bytes) {
        const bool plain = byte >= 32 && byte <= 126;
        const std::size_t pieceLength = plain ? 1 : 4;
        if (text.size() + pieceLength > limit) {
            break;
        }
        if (plain) {
            text += static_cast<char>(byte);
        } else {
            text += "\\x";
            text += digits[byte >> 4];
            text += digits[byte & 0x0F];
        }
    }
    return text;
}

} // namespace corvane
