#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/address/mac_address.hpp"
#include "core/config/server_config.hpp"

namespace corvane {

// The user's saved settings: one JSON object in one file, read afresh on every call.
// Reading never fails: a missing or damaged file reads as empty, and each getter falls
// back to its default. Each setter replaces one key and keeps every other key, including
// keys this build does not know, and swaps the file in atomically so that a crash leaves
// either the old or the new settings, never half of them.
class SettingsFile {
public:
    static constexpr std::string_view serverConfigKey = "serverConfig";
    static constexpr std::string_view selectedCardMACKey = "selectedCardMAC";
    static constexpr std::string_view updateFeedOverrideKey = "updateFeedOverride";
    static constexpr std::string_view showVirtualCardsKey = "showVirtualCards";
    static constexpr std::string_view syncLeaseWritesKey = "syncLeaseWrites";

    explicit SettingsFile(std::filesystem::path path) : path_(std::move(path)) {}

    // corvane/settings.json under $XDG_CONFIG_HOME, else under ~/.config.
    static std::filesystem::path defaultPath();
    // The same choice from given values, so it can be checked without touching the
    // environment: a relative or empty configuration folder is ignored, as the XDG base
    // directory rules ask. No value when neither folder is usable.
    static std::optional<std::filesystem::path> pathFor(const char* xdgConfigHome,
                                                        const char* home);

    const std::filesystem::path& path() const { return path_; }

    // The whole object; empty when the file is missing, unreadable or not a JSON object.
    nlohmann::json readAll() const;

    // The default configuration when none is stored or the stored one does not decode.
    ServerConfig serverConfig() const;
    std::optional<MACAddress> selectedCardMAC() const;
    std::optional<std::string> updateFeedOverride() const;
    // Off unless stored as true.
    bool showVirtualCards() const;
    // Off unless stored as true: flush each batch of lease changes to the disk before replying.
    bool syncLeaseWrites() const;

    // Each throws `SettingsFileError` when the file cannot be written; no value removes
    // the key.
    void setServerConfig(const ServerConfig& config);
    void setSelectedCardMAC(const std::optional<MACAddress>& mac);
    void setUpdateFeedOverride(const std::optional<std::string>& feed);
    void setShowVirtualCards(bool show);

private:
    void replaceKey(std::string_view key, const std::optional<nlohmann::json>& value);

    std::filesystem::path path_;
};

// A settings change that could not be saved; the text says why and what to do.
class SettingsFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace corvane
