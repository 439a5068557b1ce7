#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// A cursor over a received datagram that cannot read past its end. A read that would
// overrun returns zeros (or an empty span), consumes nothing, and sets a sticky flag, so a
// parser can read a whole group of fields and check `overran()` once afterwards.
class PacketReader {
public:
    explicit PacketReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    std::size_t position() const { return position_; }
    std::size_t remaining() const { return bytes_.size() - position_; }
    bool hasMore() const { return position_ < bytes_.size(); }
    bool overran() const { return overran_; }

    std::span<const std::uint8_t> readBytes(std::size_t count) {
        if (count > remaining()) {
            overran_ = true;
            return {};
        }
        const auto piece = bytes_.subspan(position_, count);
        position_ += count;
        return piece;
    }

    void skip(std::size_t count) { (void)readBytes(count); }

    std::uint8_t readByte() {
        const auto piece = readBytes(1);
        return piece.empty() ? 0 : piece[0];
    }

    // Network byte order, most significant byte first.
    std::uint16_t readUInt16() { return static_cast<std::uint16_t>(readBigEndian(2)); }
    std::uint32_t readUInt32() { return readBigEndian(4); }
    IPv4Address readAddress() { return IPv4Address(readUInt32()); }

private:
    std::uint32_t readBigEndian(std::size_t width) {
        std::uint32_t value = 0;
        for (const auto byte : readBytes(width)) {
            value = value << 8 | byte;
        }
        return value;
    }

    std::span<const std::uint8_t> bytes_;
    std::size_t position_ = 0;
    bool overran_ = false;
};

} // namespace corvane
