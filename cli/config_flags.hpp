#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "core/config/server_config.hpp"
#include "core/config/settings_file.hpp"

namespace corvane::cli {

// The configuration flags shared by every command that serves or checks: each given flag
// replaces one field of the saved configuration.
class ConfigFlags {
public:
    void addTo(CLI::App& command);

    // The saved configuration with the given flags applied. Throws UsageError naming every
    // flag that does not read, else every rule the result breaks.
    ServerConfig resolve(const ServerConfig& saved) const;
    // Virtual Ethernet cards count when the flag is given or the saved setting is on.
    bool showVirtualCards(bool saved) const { return virtualCards_ || saved; }

private:
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
