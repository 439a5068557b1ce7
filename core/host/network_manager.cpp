#include "core/host/network_manager.hpp"

#include <utility>

namespace corvane {
namespace {

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = text.find('\n');
        auto line = text.substr(0, end);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (!line.empty()) {
            lines.push_back(line);
        }
        if (end == std::string_view::npos) {
            break;
        }
        text.remove_prefix(end + 1);
    }
    return lines;
}

// A "key:value" line of a terse property listing. Values may hold escaped colons (hardware
// addresses do), and are read whether nmcli escaped them or not.
std::optional<std::pair<std::string, std::string>> property(std::string_view line) {
    auto fields = NetworkManager::terseFields(line);
    if (fields.size() < 2) {
        return std::nullopt;
    }
    std::string value = fields[1];
    for (std::size_t index = 2; index < fields.size(); ++index) {
        value += ":" + fields[index];
    }
    return std::pair{fields[0], value};
}

} // namespace

bool NetworkManager::isRunning(const ProcessRunner& runner) {
    if (!runner.locate("nmcli")) {
        return false;
    }
    const auto output = runner.run("nmcli", {"-t", "-f", "RUNNING", "general"});
    const auto lines = linesOf(output.text);
    return output.status == 0 && !lines.empty() && lines.front() == "running";
}

std::vector<NetworkManager::Connection> NetworkManager::connections(const ProcessRunner& runner) {
    if (!runner.locate("nmcli")) {
        return {};
    }
    // Fails with "NetworkManager is not running" when the daemon is not there.
    const auto output =
        runner.run("nmcli", {"-t", "-f", "NAME,UUID,DEVICE,ACTIVE", "connection", "show"});
    if (output.status != 0) {
        return {};
    }
    return parseConnections(output.text);
}

std::map<std::string, std::map<std::string, std::string>>
NetworkManager::settings(const ProcessRunner& runner, const std::vector<std::string>& uuids) {
    if (uuids.empty()) {
        return {};
    }
    const std::string fields = std::string(uuidKey) + "," + std::string(interfaceNameKey) + "," +
                               std::string(methodKey) + "," + std::string(addressesKey);
    std::vector<std::string> arguments{"-t", "-f", fields, "connection", "show"};
    for (const auto& uuid : uuids) {
        arguments.insert(arguments.end(), {"uuid", uuid});
    }
    const auto output = runner.run("nmcli", arguments);
    if (output.status != 0) {
        return {};
    }
    return parseSettings(output.text);
}

std::vector<NetworkManager::Device> NetworkManager::devices(const ProcessRunner& runner) {
    const auto output =
        runner.run("nmcli", {"-t", "-f", "GENERAL.DEVICE,GENERAL.HWADDR", "device", "show"});
    if (output.status != 0) {
        return {};
    }
    return parseDevices(output.text);
}

std::vector<std::string> NetworkManager::terseFields(std::string_view line) {
    std::vector<std::string> fields(1);
    for (std::size_t index = 0; index < line.size(); ++index) {
        const char character = line[index];
        if (character == '\\' && index + 1 < line.size()) {
            fields.back() += line[++index];
        } else if (character == ':') {
            fields.emplace_back();
        } else {
            fields.back() += character;
        }
    }
    return fields;
}

std::vector<NetworkManager::Connection> NetworkManager::parseConnections(std::string_view listing) {
    std::vector<Connection> connections;
    for (const auto line : linesOf(listing)) {
        const auto fields = terseFields(line);
        if (fields.size() != 4) {
            continue;
        }
        connections.push_back({fields[0], fields[1], fields[2], fields[3] == "yes"});
    }
    return connections;
}

std::map<std::string, std::map<std::string, std::string>>
NetworkManager::parseSettings(std::string_view listing) {
    std::map<std::string, std::map<std::string, std::string>> settings;
    std::map<std::string, std::string>* current = nullptr;
    for (const auto line : linesOf(listing)) {
        auto entry = property(line);
        if (!entry) {
            continue;
        }
        if (entry->first == uuidKey) {
            current = &settings[entry->second];
        } else if (current != nullptr) {
            current->insert(std::move(*entry));
        }
    }
    return settings;
}

std::vector<NetworkManager::Device> NetworkManager::parseDevices(std::string_view listing) {
    std::vector<Device> devices;
    for (const auto line : linesOf(listing)) {
        const auto entry = property(line);
        if (!entry) {
            continue;
        }
        if (entry->first == "GENERAL.DEVICE") {
            devices.push_back({entry->second, std::nullopt});
        } else if (entry->first == "GENERAL.HWADDR" && !devices.empty()) {
            devices.back().mac = MACAddress::parse(entry->second);
        }
    }
    return devices;
}

} // namespace corvane
