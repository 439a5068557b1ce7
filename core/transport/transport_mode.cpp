#include "core/transport/transport_mode.hpp"

namespace corvane {

std::string TransportMode::interfaceName() const {
    if (const auto* card = std::get_if<Interface>(&value_)) {
        return card->name;
    }
    return loopbackInterfaceName;
}

IPv4Address TransportMode::bindAddress() const {
    return isLoopback() ? IPv4Address::loopback : IPv4Address::zero;
}

std::uint16_t TransportMode::bindPort() const {
    if (const auto* loopback = std::get_if<Loopback>(&value_)) {
        return loopback->serverPort;
    }
    return dhcpServerPort;
}

IPv4Address TransportMode::sendAddress(IPv4Address destination) const {
    return isLoopback() ? IPv4Address::loopback : destination;
}

std::uint16_t TransportMode::sendPort() const {
    if (const auto* loopback = std::get_if<Loopback>(&value_)) {
        return loopback->clientPort;
    }
    return dhcpClientPort;
}

} // namespace corvane
