#include "core/host/sysfs_facts.hpp"

#include <fstream>
#include <string_view>
#include <system_error>

namespace corvane {
namespace {

std::optional<std::string> firstLineOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::string line;
    if (!stream || !std::getline(stream, line)) {
        return std::nullopt;
    }
    return line;
}

bool pathExists(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

// The udev record of a network link holds lines such as
// "E:ID_MODEL_FROM_DATABASE=82574L Gigabit Network Connection".
std::optional<std::string> hardwareNameFrom(const std::filesystem::path& record) {
    std::ifstream stream(record);
    std::string line;
    std::optional<std::string> vendor;
    std::optional<std::string> model;
    while (std::getline(stream, line)) {
        constexpr std::string_view vendorKey = "E:ID_VENDOR_FROM_DATABASE=";
        constexpr std::string_view modelKey = "E:ID_MODEL_FROM_DATABASE=";
        if (line.starts_with(vendorKey) && line.size() > vendorKey.size()) {
            vendor = line.substr(vendorKey.size());
        } else if (line.starts_with(modelKey) && line.size() > modelKey.size()) {
            model = line.substr(modelKey.size());
        }
    }
    if (!model) {
        return std::nullopt;
    }
    return vendor ? *vendor + " " + *model : *model;
}

} // namespace

SysfsFacts SysfsFacts::read(const Rtnetlink::Link& link, const std::filesystem::path& sysfsRoot,
                            const std::filesystem::path& udevRoot) {
    SysfsFacts facts;
    const auto folder = sysfsRoot / link.name;
    const auto index = firstLineOf(folder / "ifindex");
    const auto address = firstLineOf(folder / "address");
    const bool sameIndex = index && *index == std::to_string(link.index);
    const bool sameAddress = !link.mac || (address && *address == link.mac->description());
    if (!sameIndex || !sameAddress) {
        return facts;
    }
    facts.describesLink = true;
    facts.isWireless = pathExists(folder / "wireless") || pathExists(folder / "phy80211");
    facts.isBridge = pathExists(folder / "bridge");
    facts.hasDevice = pathExists(folder / "device");
    std::error_code failure;
    const auto driver = std::filesystem::read_symlink(folder / "device" / "driver", failure);
    if (!failure) {
        facts.driver = driver.filename().string();
    }
    facts.hardwareName = hardwareNameFrom(udevRoot / ("n" + std::to_string(link.index)));
    return facts;
}

} // namespace corvane
