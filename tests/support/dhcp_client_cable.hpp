#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/support/network_lab.hpp"

namespace corvane::testing {

// A veth cable from a server namespace, whose end `cardName` holds 192.168.0.1/24, to a
// device namespace where busybox's udhcpc keeps asking for an address. A copy of the test
// program started inside the server namespace sees that namespace's own sysfs, so it lists
// and serves the cable's end as a real card.
class DHCPClientCable {
public:
    // Why the cable cannot be built here, or no value when it can. Tests skip with this text.
    static std::optional<std::string> unavailableReason() {
        if (auto reason = NetworkLab::unavailableReason()) {
            return reason;
        }
        if (std::system("command -v busybox >/dev/null 2>&1") != 0) {
            return "busybox (udhcpc) is not installed.";
        }
        return std::nullopt;
    }

    explicit DHCPClientCable(const std::string& cardName) : server_(lab_.addNamespace("srv")) {
        const auto device = lab_.addNamespace("dev");
        lab_.addVethPair(server_, cardName, device, "dev0");
        lab_.run(server_, "ip address add 192.168.0.1/24 dev " + cardName);
        lab_.spawn(device, {"busybox", "udhcpc", "-f", "-i", "dev0", "-t", "60", "-T", "1", "-s",
                            "/bin/true"});
    }

    // Runs this test program again inside the server namespace with `variable`=1 set, and
    // returns everything it printed followed by "exit=<its status>".
    std::string runThisProgramInside(const std::string& variable) {
        const auto self = std::filesystem::read_symlink("/proc/self/exe").string();
        return lab_.output(server_, variable + "=1 '" + self + "' 2>&1; echo \"exit=$?\"");
    }

private:
    NetworkLab lab_;
    std::string server_;
};

} // namespace corvane::testing
