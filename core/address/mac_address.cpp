#include "core/address/mac_address.hpp"

#include "core/address/text_pieces.hpp"

namespace corvane {
namespace {

int hexDigitValue(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    return -1;
}

} // namespace

std::optional<MACAddress> MACAddress::fromBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != 6) {
        return std::nullopt;
    }
    ByteArray copy{};
    for (std::size_t index = 0; index < copy.size(); ++index) {
        copy[index] = bytes[index];
    }
    return MACAddress(copy);
}

std::optional<MACAddress> MACAddress::parse(std::string_view text) {
    const auto pieces = splitKeepingEmpty(text, ':');
    if (pieces.size() != 6) {
        return std::nullopt;
    }
    ByteArray bytes{};
    for (std::size_t index = 0; index < pieces.size(); ++index) {
        const auto piece = pieces[index];
        if (piece.size() != 2) {
            return std::nullopt;
        }
        const int high = hexDigitValue(piece[0]);
        const int low = hexDigitValue(piece[1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes[index] = static_cast<std::uint8_t>(high << 4 | low);
    }
    return MACAddress(bytes);
}

std::string MACAddress::description() const {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(17);
    for (std::size_t index = 0; index < bytes_.size(); ++index) {
        if (index > 0) {
            text += ':';
        }
        text += digits[bytes_[index] >> 4];
        text += digits[bytes_[index] & 0x0F];
    }
    return text;
}

} // namespace corvane
