#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/config/server_config.hpp"
#include "core/host/host_setup.hpp"
#include "core/host/network_card.hpp"
#include "core/host/other_server_probe.hpp"
#include "core/host/preflight_check.hpp"
#include "core/host/process_runner.hpp"
#include "core/host/setup_command.hpp"

namespace corvane {

// The blocking questions the application asks the host, gathered in one place so that the
// model can run each of them off the main thread. `real` answers them from this computer;
// tests hand in their own answers for the parts they do not exercise.
struct HostQueries {
    std::function<std::vector<NetworkCard>()> listCards;
    std::function<std::vector<PreflightCheck>(const NetworkCard& card, const ServerConfig& config,
                                              bool showVirtualCards)>
        runChecks;
    // The program holding UDP port 67 on the card, named for the port-in-use notice.
    std::function<std::string(const std::string& cardName)> port67Holder;
    // One DISCOVER from the card and a short wait for an answer (seconds, not milliseconds).
    std::function<OtherServerResult(const std::string& cardName)> lookForOtherServer;
    // Runs a confirmed command with administrator rights; throws HostSetupError.
    std::function<void(const std::string& service, const SetupCommand& command)> runAsAdministrator;

    static HostQueries real(const ProcessRunner& runner = ProcessRunner());
};

} // namespace corvane
