#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/address/mac_address.hpp"

namespace corvane {

// Who made a device, from the IEEE registry of MAC address blocks: large (MA-L, 24-bit),
// medium (MA-M, 28-bit) and small (MA-S, 36-bit) blocks, the longest match winning.
class MakerRegistry {
public:
    // Debian's ieee-data folder.
    static constexpr std::string_view defaultFolder = "/usr/share/ieee-data";
    static constexpr std::string_view locallyAdministered = "locally administered";

    // Reads oui.csv, mam.csv and oui36.csv from `folder`; a missing or damaged file only
    // leaves its blocks unknown.
    explicit MakerRegistry(const std::filesystem::path& folder);

    // The registry of this machine, read on first use and kept for the program's life.
    static const MakerRegistry& system();

    // The maker's name; "locally administered" for a randomised or hand-set MAC (the
    // universal/local bit set), which no maker owns; no value for an unlisted block.
    std::optional<std::string> makerOf(const MACAddress& mac) const;

    std::size_t blockCount() const;

private:
    void readFile(const std::filesystem::path& path, int prefixBits);

    // Keyed by the MAC's top 48 bits shifted down to the block's prefix length.
    std::unordered_map<std::uint64_t, std::string> large_;
    std::unordered_map<std::uint64_t, std::string> medium_;
    std::unordered_map<std::uint64_t, std::string> small_;
};

// The maker of `mac` as the system registry knows it, or no value.
std::optional<std::string> makerName(const MACAddress& mac);

} // namespace corvane
