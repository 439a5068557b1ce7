#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "core/config/server_config.hpp"
#include "core/config/settings_file.hpp"

namespace corvane::cli {

// The configuration flags shared by every command that serves or checks: each given flag
// replaces one field of the saved configuration.
class ConfigFlags {
public:
    void addTo(CLI::App& command);

    // The saved configuration, or the --config file's, with the given flags applied. Throws
    // UsageError naming every flag that does not read, else every rule the result breaks,
    // each quoting the flag (or the file) it came from.
    ServerConfig resolve(const ServerConfig& saved) const;
    // The card named by --interface, else by the --config file; UsageError when neither.
    std::string interfaceName(const std::string& flagValue) const;
    // Virtual Ethernet cards count when the flag is given or the saved setting is on.
    bool showVirtualCards(bool saved) const { return virtualCards_ || saved; }

private:
    // Applies --reserve, --option, --next-server and --boot-file over `config`, remembering
    // which flag gave each reservation and option so a broken rule can quote it.
    void applyLabFlags(ServerConfig& config, std::vector<std::string>& problems) const;
    // A broken rule as the user reads it: the sentence after the flag or file it came from.
    std::string explain(const ConfigError& error, const ServerConfig& config) const;
    // The --reserve text that gave this reservation; null when the file or settings did.
    const std::string* flagOf(const Reservation& reservation) const;

    std::string configFile_;
    std::vector<std::string> reservations_;
    std::vector<std::string> options_;
    std::string nextServer_;
    std::string bootFile_;
    CLI::Option* nextServerOption_ = nullptr;
    CLI::Option* bootFileOption_ = nullptr;
    // Filled while resolving: the flag text behind each reservation and option given on the
    // command line.
    mutable std::vector<std::pair<Reservation, std::string>> reservationFlags_;
    mutable std::map<std::uint8_t, std::string> optionFlags_;
    std::string serverIP_;
    std::string prefix_;
    std::string range_;
    std::string lease_;
    std::string router_;
    std::string dns_;
    bool virtualCards_ = false;
    CLI::Option* serverIPOption_ = nullptr;
    CLI::Option* prefixOption_ = nullptr;
    CLI::Option* rangeOption_ = nullptr;
    CLI::Option* leaseOption_ = nullptr;
    CLI::Option* routerOption_ = nullptr;
    CLI::Option* dnsOption_ = nullptr;
};

// The user's settings file, or no file when no settings folder can be found.
std::optional<SettingsFile> userSettings();

} // namespace corvane::cli
