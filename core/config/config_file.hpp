#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/config/server_config.hpp"

namespace corvane {

// A configuration file for headless runs: one JSON object with the server configuration's
// keys as the settings file stores them (each may be left out and then keeps its default),
// plus "interface", the card to serve on. Nothing is validated here.
struct ConfigFileContents {
    ServerConfig config;
    std::optional<std::string> interfaceName;
};

// Reads and decodes the file; throws `ConfigFileError` with a sentence naming the file when
// it cannot be read, is not a JSON object, has a key this version does not know, or has a
// value that does not decode.
ConfigFileContents readConfigFile(const std::filesystem::path& path);

class ConfigFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace corvane
