#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/config/server_config.hpp"
#include "core/host/network_card.hpp"
#include "core/host/other_server_probe.hpp"
#include "core/host/port67_state.hpp"
#include "core/host/preflight_check.hpp"
#include "core/host/preflight_input.hpp"
#include "core/host/process_runner.hpp"

namespace corvane {

// The checks run before a start: is the card safe to serve DHCP on, and can the server
// open its port. Gathering the facts blocks (it runs programs); judging them is pure.
class Preflight {
public:
    // Each program a probe runs gets at most this long.
    static constexpr std::chrono::seconds probeTimeLimit{5};

    static PreflightInput gather(const NetworkCard& card, const ServerConfig& config,
                                 bool showVirtualCards,
                                 const ProcessRunner& runner = ProcessRunner());
    // The checklist, in display order.
    static std::vector<PreflightCheck> evaluate(const PreflightInput& input);
    // The row for what the active look for another DHCP server found on the card.
    static PreflightCheck otherServerCheck(const OtherServerResult& result,
                                           const NetworkCard& card);
    // True exactly when no check failed; warnings never block.
    static bool canStart(const std::vector<PreflightCheck>& checks);
    // A trial bind of UDP 67 on the card, the way the server will bind it.
    static Port67State port67State(const std::string& cardName,
                                   const ProcessRunner& runner = ProcessRunner());
    static bool vmwareRunning(const ProcessRunner& runner = ProcessRunner());
    // A process as `ss -p` names it: its name cut to the kernel's 15 characters, its PID.
    struct PortHolder {
        std::string shortName;
        std::optional<long> pid;
        friend bool operator==(const PortHolder&, const PortHolder&) = default;
    };
    // The first process named in `ss -p` output for a socket on the local port.
    static std::optional<PortHolder> holder(std::string_view ssOutput, int port);
    // "dnsmasq (PID 812)": the program's full name from `procRoot`/PID/exe (or the first word
    // of its command line), since the short name may be cut; the short name when neither
    // can be read.
    static std::string describe(const PortHolder& holder,
                                const std::filesystem::path& procRoot = "/proc");
};

} // namespace corvane
