#pragma once

#include <CLI/CLI.hpp>

namespace corvane::cli {

// Exit statuses shared by the subcommands.
inline constexpr int successStatus = 0;
inline constexpr int refusedStatus = 1;
inline constexpr int usageStatus = 2;

// `corvane cards [--all] [--virtual]`: the cards a user can serve on, or every card.
void addCardsCommand(CLI::App& app);
// `corvane check --interface NAME [config flags]`: the checklist shown before a start.
void addCheckCommand(CLI::App& app);
// `corvane serve --interface NAME [config flags] [...]`: serves DHCP until Ctrl-C.
void addServeCommand(CLI::App& app);
// `corvane leases`, `corvane forget MAC`, `corvane clear-expired`: the lease file and its edits.
void addLeasesCommands(CLI::App& app);
// `corvane demo [--seconds N]`: a real DHCP client served across a virtual cable.
void addDemoCommand(CLI::App& app);

} // namespace corvane::cli
