#include <iostream>

#include "cli/cli_texts.hpp"
#include "cli/config_flags.hpp"
#include "cli/subcommands.hpp"
#include "cli/usage_error.hpp"
#include "core/host/host_setup.hpp"
#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/other_server_probe.hpp"
#include "core/host/preflight.hpp"

namespace corvane::cli {
namespace {

struct CheckOptions {
    std::string interfaceName;
    ConfigFlags flags;
};

std::string fixCommand(const PreflightCheck::Fix& fix, const ServerConfig& config,
                       const NetworkCard& card) {
    const auto& configure = std::get<PreflightCheck::ConfigureAdapter>(fix);
    return HostSetup::setManualCommand(configure.service, config.serverIP,
                                       static_cast<int>(config.prefixLength),
                                       HostSetup::toolFor(card))
        .sudoLine();
}

int runChecks(const CheckOptions& options) {
    const auto settings = userSettings();
    const auto config =
        options.flags.resolve(settings ? settings->serverConfig() : ServerConfig::defaultConfig());
    const bool showVirtual =
        options.flags.showVirtualCards(settings && settings->showVirtualCards());
    const ProcessRunner runner;
    const auto cards = Interfaces::list(runner);
    const auto name = options.flags.interfaceName(options.interfaceName);
    const auto card = std::find_if(cards.begin(), cards.end(),
                                   [&](const NetworkCard& entry) { return entry.bsdName == name; });
    if (card == cards.end()) {
        throw UsageError({texts::unknownInterface(name)});
    }
    auto input = Preflight::gather(*card, config, showVirtual, runner);
    // Nothing can answer across a cable without link, so the look is saved for later.
    if (card->linkUp) {
        input.otherServer = OtherServerProbe::probe(card->bsdName);
    }
    const auto checks = Preflight::evaluate(input);

    const auto serverText =
        config.serverIP.description() + "/" + std::to_string(config.prefixLength);
    std::cout << texts::checksHeading(card->bsdName, serverText) << "\n";
    for (const auto& check : checks) {
        std::cout << statusSymbol(check.status) << " " << check.message << "\n";
        if (check.fix) {
            std::cout << texts::fixLine(fixCommand(*check.fix, config, *card)) << "\n";
        }
    }
    std::cout << host_texts::checklistFooter << "\n";
    return Preflight::canStart(checks) ? successStatus : refusedStatus;
}

} // namespace

void addCheckCommand(CLI::App& app) {
    auto options = std::make_shared<CheckOptions>();
    auto* command = app.add_subcommand(
        "check", "Run the checks made before a start; exit status 0 when a start is allowed");
    addInterfaceOption(*command, options->interfaceName);
    options->flags.addTo(*command);
    command->callback([options] { exitUnlessSucceeded(runChecks(*options)); });
}

} // namespace corvane::cli
