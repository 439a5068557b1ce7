#include "cli/config_flags.hpp"

#include "cli/cli_texts.hpp"
#include "cli/usage_error.hpp"
#include "core/config/config_file.hpp"
#include "core/config/duration_text.hpp"

namespace corvane::cli {
namespace {

std::vector<std::string> splitAt(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (true) {
        const auto end = text.find(separator, start);
        pieces.push_back(text.substr(start, end - start));
        if (end == std::string::npos) {
            return pieces;
        }
        start = end + 1;
    }
}

std::optional<std::int64_t> wholeNumber(const std::string& text) {
    if (text.empty() || text.size() > 9 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    return std::stoll(text);
}

bool given(const CLI::Option* option) {
    return option != nullptr && option->count() > 0;
}

} // namespace

void ConfigFlags::addTo(CLI::App& command) {
    serverIPOption_ = command.add_option("--server-ip", serverIP_,
                                         "The server's own address on the card, e.g. 192.168.0.1");
    prefixOption_ = command.add_option("--prefix", prefix_, "The network prefix length, 8 to 30");
    rangeOption_ = command.add_option("--range", range_,
                                      "The addresses handed out, e.g. 192.168.0.100-192.168.0.200");
    leaseOption_ =
        command.add_option("--lease", lease_, "The lease time: seconds, or e.g. 90m, 24h, 7d");
    routerOption_ = command.add_option(
        "--router", router_, "The gateway offered to devices; an empty value offers none");
    dnsOption_ = command.add_option(
        "--dns", dns_, "Up to three DNS servers, separated by commas; an empty value offers none");
    command.add_option("--config", configFile_,
                       "A JSON configuration file (settings keys plus \"interface\"); flags "
                       "override it");
    command
        .add_option("--reserve", reservations_,
                    "Always give this device this address: MAC=IP or MAC=IP=NAME; repeatable")
        ->allow_extra_args(false);
    command
        .add_option("--option", options_,
                    "An extra option by number: CODE=VALUE, e.g. 42=192.168.0.1 or "
                    "224=hex:0a0b; repeatable")
        ->allow_extra_args(false);
    nextServerOption_ = command.add_option("--next-server", nextServer_,
                                           "The boot server's address, sent as siaddr");
    bootFileOption_ = command.add_option(
        "--boot-file", bootFile_, "The boot file name, sent in the file field and option 67");
    command.add_flag("--virtual", virtualCards_,
                     "Also allow virtual Ethernet cards (veth, tap, macvlan)");
}

ServerConfig ConfigFlags::resolve(const ServerConfig& saved) const {
    ServerConfig config = saved;
    std::vector<std::string> problems;
    if (!configFile_.empty()) {
        try {
            config = readConfigFile(configFile_).config;
        } catch (const ConfigFileError& error) {
            throw UsageError({error.what()});
        }
    }
    if (given(serverIPOption_)) {
        if (const auto address = IPv4Address::parse(serverIP_)) {
            config.serverIP = *address;
        } else {
            problems.push_back(texts::badAddress("--server-ip", serverIP_));
        }
    }
    if (given(prefixOption_)) {
        if (const auto prefix = wholeNumber(prefix_)) {
            config.prefixLength = *prefix;
        } else {
            problems.push_back(texts::badPrefix(prefix_));
        }
    }
    if (given(rangeOption_)) {
        const auto ends = splitAt(range_, '-');
        const auto first = ends.size() == 2 ? IPv4Address::parse(ends[0]) : std::nullopt;
        const auto last = ends.size() == 2 ? IPv4Address::parse(ends[1]) : std::nullopt;
        if (first && last) {
            config.rangeStart = *first;
            config.rangeEnd = *last;
        } else {
            problems.push_back(texts::badRange(range_));
        }
    }
    if (given(leaseOption_)) {
        if (const auto seconds = parseDuration(lease_)) {
            config.leaseSeconds = *seconds;
        } else {
            problems.push_back(texts::badLease(lease_));
        }
    }
    if (given(routerOption_)) {
        if (router_.empty()) {
            config.router.reset();
        } else if (const auto router = IPv4Address::parse(router_)) {
            config.router = *router;
        } else {
            problems.push_back(texts::badAddress("--router", router_));
        }
    }
    if (given(dnsOption_)) {
        config.dns.clear();
        for (const auto& piece : dns_.empty() ? std::vector<std::string>{} : splitAt(dns_, ',')) {
            if (const auto server = IPv4Address::parse(piece)) {
                config.dns.push_back(*server);
            } else {
                problems.push_back(texts::badDNS(piece));
            }
        }
    }
    applyLabFlags(config, problems);
    if (problems.empty()) {
        for (const auto& error : config.validate()) {
            problems.push_back(explain(error, config));
        }
    }
    if (!problems.empty()) {
        throw UsageError(std::move(problems));
    }
    return config;
}

std::string ConfigFlags::interfaceName(const std::string& flagValue) const {
    if (!flagValue.empty()) {
        return flagValue;
    }
    if (!configFile_.empty()) {
        try {
            if (auto name = readConfigFile(configFile_).interfaceName) {
                return *name;
            }
        } catch (const ConfigFileError& error) {
            throw UsageError({error.what()});
        }
    }
    throw UsageError({std::string(texts::noInterface)});
}

std::optional<SettingsFile> userSettings() {
    try {
        return SettingsFile(SettingsFile::defaultPath());
    } catch (const SettingsFileError&) {
        return std::nullopt;
    }
}

} // namespace corvane::cli
