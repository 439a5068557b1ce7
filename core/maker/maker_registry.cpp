#include "core/maker/maker_registry.hpp"

#include <charconv>
#include <fstream>
#include <vector>

namespace corvane {
namespace {

constexpr int largeBits = 24;
constexpr int mediumBits = 28;
constexpr int smallBits = 36;
constexpr int macBits = 48;
// IEEE 802: bit 1 of the first byte marks a locally administered address.
constexpr std::uint8_t localBit = 0x02;

std::uint64_t macValue(const MACAddress& mac) {
    std::uint64_t value = 0;
    for (const auto byte : mac.bytes()) {
        value = value << 8 | byte;
    }
    return value;
}

// The first three fields of one CSV line; a quoted field may hold commas and "" for ".
std::vector<std::string> leadingFields(std::string_view line, std::size_t count) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (std::size_t index = 0; index < line.size() && fields.size() <= count; ++index) {
        const char character = line[index];
        if (quoted && character == '"' && index + 1 < line.size() && line[index + 1] == '"') {
            fields.back().push_back('"');
            ++index;
        } else if (character == '"') {
            quoted = !quoted;
        } else if (character == ',' && !quoted) {
            fields.emplace_back();
        } else if (character != '\r') {
            fields.back().push_back(character);
        }
    }
    fields.resize(count);
    return fields;
}

std::optional<std::uint64_t> hexNumber(std::string_view text) {
    std::uint64_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, 16);
    if (text.empty() || error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return value;
}

} // namespace

MakerRegistry::MakerRegistry(const std::filesystem::path& folder) {
    readFile(folder / "oui.csv", largeBits);
    readFile(folder / "mam.csv", mediumBits);
    readFile(folder / "oui36.csv", smallBits);
}

const MakerRegistry& MakerRegistry::system() {
    static const MakerRegistry registry{std::filesystem::path(defaultFolder)};
    return registry;
}

void MakerRegistry::readFile(const std::filesystem::path& path, int prefixBits) {
    auto& blocks = prefixBits == largeBits ? large_ : prefixBits == mediumBits ? medium_ : small_;
    std::ifstream stream(path);
    std::string line;
    std::getline(stream, line); // the heading
    const auto digits = static_cast<std::size_t>(prefixBits / 4);
    while (std::getline(stream, line)) {
        auto fields = leadingFields(line, 3);
        const auto block = hexNumber(fields[1]);
        if (block && fields[1].size() == digits && !fields[2].empty()) {
            blocks.emplace(*block, std::move(fields[2]));
        }
    }
}

std::optional<std::string> MakerRegistry::makerOf(const MACAddress& mac) const {
    if ((mac.bytes()[0] & localBit) != 0) {
        return std::string(locallyAdministered);
    }
    const auto value = macValue(mac);
    for (const auto& [blocks, bits] :
         {std::pair{&small_, smallBits}, std::pair{&medium_, mediumBits},
          std::pair{&large_, largeBits}}) {
        if (const auto found = blocks->find(value >> (macBits - bits)); found != blocks->end()) {
            return found->second;
        }
    }
    return std::nullopt;
}

std::size_t MakerRegistry::blockCount() const {
    return large_.size() + medium_.size() + small_.size();
}

std::optional<std::string> makerName(const MACAddress& mac) {
    return MakerRegistry::system().makerOf(mac);
}

} // namespace corvane
