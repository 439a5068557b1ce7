#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "core/host/rtnetlink.hpp"

namespace corvane {

// What sysfs and the udev database say about one link. sysfs shows the network namespace
// it was mounted for, not the caller's, so the facts count only when sysfs describes this
// very link: same interface index and hardware address under the same name.
struct SysfsFacts {
    bool describesLink = false;
    bool isWireless = false;
    bool isBridge = false;
    // Backed by a device (a PCI or USB card) rather than made up in software.
    bool hasDevice = false;
    std::string driver;
    // The vendor and model names from the udev hardware database, when it knows the card.
    std::optional<std::string> hardwareName;

    static SysfsFacts read(const Rtnetlink::Link& link,
                           const std::filesystem::path& sysfsRoot = "/sys/class/net",
                           const std::filesystem::path& udevRoot = "/run/udev/data");
};

} // namespace corvane
