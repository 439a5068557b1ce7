#include "core/config/config_file.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

#include "core/address/address_json.hpp"
#include "core/config/config_texts.hpp"

namespace corvane {
namespace {

constexpr std::string_view interfaceKey = "interface";
constexpr std::array<std::string_view, 12> knownKeys{
    "serverIP", "prefixLength", "rangeStart", "rangeEnd",   "leaseSeconds", "router",
    "dns",      "reservations", "options",    "nextServer", "bootFile",     interfaceKey};

nlohmann::json parsedDocument(const std::filesystem::path& path) {
    std::ifstream stream(path);
    if (!stream) {
        throw ConfigFileError(config_texts::configFileUnreadable(path.string()));
    }
    try {
        return nlohmann::json::parse(stream);
    } catch (const nlohmann::json::exception& error) {
        throw ConfigFileError(config_texts::configFileNotJSON(path.string(), error.what()));
    }
}

} // namespace

ConfigFileContents readConfigFile(const std::filesystem::path& path) {
    const auto document = parsedDocument(path);
    if (!document.is_object()) {
        throw ConfigFileError(config_texts::configFileNotAnObject(path.string()));
    }
    ConfigFileContents contents;
    nlohmann::json merged = ServerConfig::defaultConfig();
    for (const auto& [key, value] : document.items()) {
        if (std::ranges::find(knownKeys, key) == knownKeys.end()) {
            throw ConfigFileError(config_texts::configFileUnknownKey(path.string(), key));
        }
        if (key == interfaceKey) {
            if (!value.is_string() || value.get<std::string>().empty()) {
                throw ConfigFileError(config_texts::configFileBadInterface(path.string()));
            }
            contents.interfaceName = value.get<std::string>();
        } else {
            merged[key] = value;
        }
    }
    try {
        contents.config = merged.get<ServerConfig>();
    } catch (const DecodingError& error) {
        throw ConfigFileError(config_texts::configFileBadValue(path.string(), error.what()));
    }
    return contents;
}

} // namespace corvane
