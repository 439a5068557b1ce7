#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include "core/address/ipv4_address.hpp"

namespace corvane {

// How the transport reaches its clients: the real DHCP ports on one named card, or a
// self-contained loopback pair of ports that tests and demos use without privileges.
class TransportMode {
public:
    struct Interface {
        std::string name;
        friend bool operator==(const Interface&, const Interface&) = default;
    };
    struct Loopback {
        std::uint16_t serverPort = 0;
        std::uint16_t clientPort = 0;
        friend bool operator==(const Loopback&, const Loopback&) = default;
    };

    static constexpr std::uint16_t dhcpServerPort = 67;
    static constexpr std::uint16_t dhcpClientPort = 68;
    static constexpr const char* loopbackInterfaceName = "lo";

    static TransportMode interface(std::string name) { return TransportMode(Interface{name}); }
    static TransportMode loopback(std::uint16_t serverPort, std::uint16_t clientPort) {
        return TransportMode(Loopback{serverPort, clientPort});
    }

    const std::variant<Interface, Loopback>& value() const { return value_; }
    bool isLoopback() const { return std::holds_alternative<Loopback>(value_); }

    // The card the socket is tied to: the named one, or the loopback card.
    std::string interfaceName() const;
    // The local address and port the socket binds: 0.0.0.0:67, or 127.0.0.1:serverPort.
    IPv4Address bindAddress() const;
    std::uint16_t bindPort() const;
    // Where a datagram for `destination` really goes: loopback mode sends everything to
    // 127.0.0.1:clientPort whatever the reply asked for.
    IPv4Address sendAddress(IPv4Address destination) const;
    std::uint16_t sendPort() const;

    friend bool operator==(const TransportMode&, const TransportMode&) = default;

private:
    explicit TransportMode(std::variant<Interface, Loopback> value) : value_(std::move(value)) {}

    std::variant<Interface, Loopback> value_;
};

} // namespace corvane
