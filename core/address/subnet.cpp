#include "core/address/subnet.hpp"

#include <algorithm>
#include <bit>
#include <vector>

namespace corvane {
namespace {

// Reads a decimal integer that may carry one leading sign, the way a plain integer
// conversion would; anything else gives no value.
std::optional<long> signedDecimal(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty() || text.size() > 9) {
        return std::nullopt;
    }
    long value = 0;
    for (const char character : text) {
        if (character < '0' || character > '9') {
            return std::nullopt;
        }
        value = value * 10 + (character - '0');
    }
    return negative ? -value : value;
}

} // namespace

std::optional<Subnet> Subnet::parse(std::string_view cidr) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    while (start <= cidr.size()) {
        auto end = cidr.find('/', start);
        if (end == std::string_view::npos) {
            end = cidr.size();
        }
        if (end > start) {
            pieces.push_back(cidr.substr(start, end - start));
        }
        start = end + 1;
    }
    if (pieces.size() != 2) {
        return std::nullopt;
    }
    const auto address = IPv4Address::parse(pieces[0]);
    const auto prefix = signedDecimal(pieces[1]);
    if (!address || !prefix || *prefix < 0 || *prefix > 32) {
        return std::nullopt;
    }
    return Subnet{*address, static_cast<int>(*prefix)};
}

std::optional<int> Subnet::prefixLengthOfMask(IPv4Address mask) {
    if (mask.value() == 0) {
        return 0;
    }
    const int ones = std::popcount(mask.value());
    if (mask.value() != maskBits(ones)) {
        return std::nullopt;
    }
    return ones;
}

IPv4Address Subnet::mask() const {
    return IPv4Address(maskBits(prefixLength));
}

IPv4Address Subnet::network() const {
    return IPv4Address(address.value() & maskBits(prefixLength));
}

IPv4Address Subnet::broadcast() const {
    return IPv4Address(network().value() | ~maskBits(prefixLength));
}

bool Subnet::contains(IPv4Address candidate) const {
    const auto bits = maskBits(prefixLength);
    return (candidate.value() & bits) == (address.value() & bits);
}

bool Subnet::overlaps(const Subnet& other) const {
    const auto bits = maskBits(std::min(prefixLength, other.prefixLength));
    return ((address.value() ^ other.address.value()) & bits) == 0;
}

std::string Subnet::description() const {
    return network().description() + '/' + std::to_string(prefixLength);
}

} // namespace corvane
