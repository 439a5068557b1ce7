#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/preflight.hpp"

// The half of Preflight that asks the host: the trial bind of port 67, the programs that
// name its holder and spot VMware, and gathering everything for the checks.
namespace corvane {
namespace {

constexpr int dhcpServerPort = 67;
// Both VMware helpers that take over host network cards.
constexpr const char* vmwarePattern = "vmware-usbarbitrator|vmnet-bridge";

std::string thisProgramPath() {
    std::array<char, 4096> path{};
    const auto length = readlink("/proc/self/exe", path.data(), path.size() - 1);
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : "corvane";
}

// Closes the probe socket on every path.
class ProbeSocket {
public:
    ProbeSocket() : descriptor_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~ProbeSocket() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    ProbeSocket(const ProbeSocket&) = delete;
    ProbeSocket& operator=(const ProbeSocket&) = delete;
    int get() const { return descriptor_; }

private:
    int descriptor_;
};

} // namespace

PreflightInput Preflight::gather(const NetworkCard& card, const ServerConfig& config,
                                 bool showVirtualCards, const ProcessRunner& runner) {
    const auto probeRunner = runner.withTimeLimit(
        std::min<std::chrono::milliseconds>(runner.timeLimit(), probeTimeLimit));
    PreflightInput input;
    input.card = card;
    input.otherAddresses = Interfaces::interfaceAddresses();
    input.config = config;
    input.port67 = port67State(card.bsdName, probeRunner);
    input.vmwareRunning = vmwareRunning(probeRunner);
    input.showVirtualCards = showVirtualCards;
    return input;
}

Port67State Preflight::port67State(const std::string& cardName, const ProcessRunner& runner) {
    const ProbeSocket probe;
    if (probe.get() < 0) {
        return Port67Error{std::strerror(errno)};
    }
    // The server binds to its card; another program bound to a different card does not
    // stand in its way, so the trial binds the same way.
    if (!cardName.empty() && setsockopt(probe.get(), SOL_SOCKET, SO_BINDTODEVICE, cardName.c_str(),
                                        static_cast<socklen_t>(cardName.size())) != 0) {
        return Port67Error{std::strerror(errno)};
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(dhcpServerPort);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return Port67Free{};
    }
    const int failure = errno;
    if (failure == EADDRINUSE) {
        const auto listing = runner.run(
            "ss", {"-H", "-l", "-u", "-n", "-p", "sport = :" + std::to_string(dhcpServerPort)});
        const auto found = holder(listing.status == 0 ? listing.text : "", dhcpServerPort);
        return Port67InUse{found ? std::optional(describe(*found)) : std::nullopt};
    }
    if (failure == EACCES) {
        return Port67Error{host_texts::portNeedsCapability(thisProgramPath())};
    }
    return Port67Error{std::strerror(failure)};
}

bool Preflight::vmwareRunning(const ProcessRunner& runner) {
    // -f: the arbitrator's name is longer than the 15 characters pgrep sees without it.
    return runner.run("pgrep", {"-f", vmwarePattern}).status == 0;
}

std::optional<Preflight::PortHolder> Preflight::holder(std::string_view ssOutput, int port) {
    const auto portSuffix = ":" + std::to_string(port);
    std::istringstream lines{std::string(ssOutput)};
    std::string line;
    while (std::getline(lines, line)) {
        // Columns: [netid,] state, two queues, local address, peer address, processes.
        // The local address is the one before the peer.
        std::istringstream fields(line);
        std::vector<std::string> addressColumns;
        std::string field;
        while (fields >> field && !field.starts_with("users:")) {
            addressColumns.push_back(field);
        }
        const bool onPort = addressColumns.size() >= 2 &&
                            addressColumns[addressColumns.size() - 2].ends_with(portSuffix);
        constexpr std::string_view processStart = "users:((\"";
        const auto start = line.find(processStart);
        if (!onPort || start == std::string::npos) {
            continue;
        }
        const auto nameStart = start + processStart.size();
        const auto nameEnd = line.find('"', nameStart);
        if (nameEnd == std::string::npos || nameEnd == nameStart) {
            continue;
        }
        PortHolder found{line.substr(nameStart, nameEnd - nameStart), std::nullopt};
        constexpr std::string_view pidField = ",pid=";
        if (const auto pid = line.find(pidField, nameEnd); pid != std::string::npos) {
            try {
                found.pid = std::stol(line.substr(pid + pidField.size()));
            } catch (const std::exception&) {
            }
        }
        return found;
    }
    return std::nullopt;
}

std::string Preflight::describe(const PortHolder& holder, const std::filesystem::path& procRoot) {
    if (!holder.pid) {
        return holder.shortName;
    }
    const auto process = procRoot / std::to_string(*holder.pid);
    std::string name;
    std::error_code failure;
    if (const auto exe = std::filesystem::read_symlink(process / "exe", failure); !failure) {
        name = exe.filename().string();
    }
    if (name.empty()) {
        std::ifstream commandLine(process / "cmdline", std::ios::binary);
        std::string first;
        std::getline(commandLine, first, '\0');
        name = std::filesystem::path(first).filename().string();
    }
    if (name.empty()) {
        name = holder.shortName;
    }
    return name + " (PID " + std::to_string(*holder.pid) + ")";
}

} // namespace corvane
