#include "core/events/notice_texts.hpp"

namespace corvane::notice_texts {

std::string localNetworkDenied() {
    return "A firewall on this computer is blocking DHCP replies, so no device can get an "
           "address.";
}

std::string otherServer(IPv4Address server) {
    return "Another DHCP server is on this cable (" + server.description() +
           "). The device chose it instead of Corvane.";
}

std::string portInUse(std::string_view holder) {
    return "Port 67 is in use by " + std::string(holder) +
           ". Stop it, or turn off the shared connection or virtual-machine network that started "
           "it.";
}

std::string leaseSaveFailed(std::string_view error) {
    return "Leases could not be saved: " + std::string(error);
}

std::string leaseFileUnreadable(std::string_view error) {
    return "Corvane can't read leases.json (" + std::string(error) +
           "). Leases are kept in memory only and the file is left untouched.";
}

std::string linkDown(std::string_view card) {
    return "Link down. No device is connected to " + std::string(card) +
           ". Serving resumes on its own when the link returns.";
}

std::string adapterUnplugged() {
    return "The adapter was unplugged. Waiting for it to come back\u2026";
}

std::string leaseFileSetAside(std::string_view movedFileName) {
    return "The lease file could not be read and was moved to " + std::string(movedFileName) +
           ". Starting with no leases.";
}

std::string leaseFileRepaired(std::string_view movedFileName, std::size_t keptLeases) {
    return "Some records of the lease file could not be read; the file was moved to " +
           std::string(movedFileName) + ". Starting with the " + std::to_string(keptLeases) +
           (keptLeases == 1 ? " lease" : " leases") + " that could be read.";
}

std::string leaseRecordsDropped(std::size_t kept, const std::vector<std::string>& dropped) {
    // A file damaged throughout would otherwise give one line the size of the file.
    constexpr std::size_t listed = 10;
    std::string text = "lease file: kept " + std::to_string(kept) + " records, dropped " +
                       std::to_string(dropped.size()) + ": ";
    for (std::size_t index = 0; index < dropped.size() && index < listed; ++index) {
        text += (index > 0 ? "; " : "") + dropped[index];
    }
    if (dropped.size() > listed) {
        text += "; and " + std::to_string(dropped.size() - listed) + " more";
    }
    return text;
}

} // namespace corvane::notice_texts
