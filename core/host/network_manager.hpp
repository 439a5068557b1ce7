#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/address/mac_address.hpp"
#include "core/host/process_runner.hpp"

namespace corvane {

// NetworkManager as seen through its command-line client, nmcli, in terse mode. It is the
// Linux home of "network services": a connection profile has a name and an IPv4 method.
class NetworkManager {
public:
    struct Connection {
        std::string name;
        std::string uuid;
        // The device the connection is active on; empty when it is not active.
        std::string device;
        bool active = false;
        friend bool operator==(const Connection&, const Connection&) = default;
    };

    // A device NetworkManager manages, with the hardware address it knows it by.
    struct Device {
        std::string name;
        std::optional<MACAddress> mac;
        friend bool operator==(const Device&, const Device&) = default;
    };

    // Settings keys read from a connection.
    static constexpr std::string_view uuidKey = "connection.uuid";
    static constexpr std::string_view interfaceNameKey = "connection.interface-name";
    static constexpr std::string_view methodKey = "ipv4.method";
    static constexpr std::string_view addressesKey = "ipv4.addresses";

    // True when nmcli is installed and says the NetworkManager daemon runs.
    static bool isRunning(const ProcessRunner& runner);
    // Empty when nmcli is missing or NetworkManager does not run.
    static std::vector<Connection> connections(const ProcessRunner& runner);
    // The interface name, IPv4 method and addresses of each connection, by UUID, asked in one
    // nmcli call however many connections there are.
    static std::map<std::string, std::map<std::string, std::string>>
    settings(const ProcessRunner& runner, const std::vector<std::string>& uuids);
    static std::vector<Device> devices(const ProcessRunner& runner);

    // One line of nmcli's terse table: fields split at unescaped colons, "\:" and "\\"
    // turned back into ":" and "\".
    static std::vector<std::string> terseFields(std::string_view line);
    static std::vector<Connection> parseConnections(std::string_view listing);
    // "key:value" lines of a terse listing of connections, each beginning with its
    // "connection.uuid" line, by UUID.
    static std::map<std::string, std::map<std::string, std::string>>
    parseSettings(std::string_view listing);
    // "GENERAL.DEVICE:name" lines, each followed by its "GENERAL.HWADDR:address" line.
    static std::vector<Device> parseDevices(std::string_view listing);
};

} // namespace corvane
