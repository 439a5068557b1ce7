#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace corvane::cli {

// Exit statuses shared by the subcommands.
inline constexpr int successStatus = 0;
inline constexpr int refusedStatus = 1;
inline constexpr int usageStatus = 2;

// Ends a subcommand's callback with `status` as the exit status unless it is a success.
inline void exitUnlessSucceeded(int status) {
    if (status != successStatus) {
        throw CLI::RuntimeError(status);
    }
}

// The required card option of the commands that serve or check on one card.
inline void addInterfaceOption(CLI::App& command, std::string& interfaceName) {
    command.add_option("--interface", interfaceName,
                       "The card to serve on, e.g. eth1 (or \"interface\" in the --config file)");
}

// `corvane cards [--all] [--virtual]`: the cards a user can serve on, or every card.
void addCardsCommand(CLI::App& app);
// `corvane check --interface NAME [config flags]`: the checklist shown before a start.
void addCheckCommand(CLI::App& app);
// `corvane serve --interface NAME [config flags] [...]`: serves DHCP until Ctrl-C.
void addServeCommand(CLI::App& app);
// `corvane leases`, `corvane forget MAC`, `corvane clear-expired`: the lease file and its edits.
void addLeasesCommands(CLI::App& app);
// `corvane wait-lease --mac MAC` and `corvane events`: scripts driving a running server.
void addControlCommands(CLI::App& app);
// `corvane demo [--seconds N]`: a real DHCP client served across a virtual cable.
void addDemoCommand(CLI::App& app);

} // namespace corvane::cli
