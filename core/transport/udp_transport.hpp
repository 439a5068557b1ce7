#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "core/events/reply_destination.hpp"
#include "core/transport/datagram.hpp"
#include "core/transport/transport_error.hpp"
#include "core/transport/transport_mode.hpp"

namespace corvane {

// The one UDP socket the server talks DHCP through: port 67 on every address but tied to
// one card, non-blocking, allowed to broadcast, and reporting each datagram's arrival card.
// It moves bytes only; every failure is a thrown TransportError. Used from one thread.
class UDPTransport {
public:
    explicit UDPTransport(TransportMode mode) : mode_(std::move(mode)) {}
    ~UDPTransport() { close(); }
    UDPTransport(const UDPTransport&) = delete;
    UDPTransport& operator=(const UDPTransport&) = delete;

    // Creates and configures the socket, closing any earlier one first; on failure nothing
    // stays open.
    void open();
    // Closes the socket if it is open; harmless when called again.
    void close();
    // One waiting datagram, or none when nothing is queued.
    std::optional<Datagram> receive();
    // Sends one datagram; a partial send counts as a failure.
    void send(std::span<const std::uint8_t> bytes, ReplyDestination destination);
    // Sends several datagrams with one system call, in order, each to its destination. Returns
    // how many the kernel took before the first it refused; that one and the rest are left to
    // the caller (`send` names the refusal). Throws nothing.
    std::size_t sendMany(std::span<const Bytes> datagrams,
                         std::span<const ReplyDestination> destinations);

    const TransportMode& mode() const { return mode_; }
    std::string interfaceName() const { return mode_.interfaceName(); }
    // The descriptor to wait on for readability; -1 while closed.
    int descriptor() const { return fd_; }
    // The kernel's index of the card; 0 until opened.
    std::uint32_t interfaceIndex() const { return interfaceIndex_; }
    bool isOpen() const { return fd_ >= 0; }

private:
    TransportMode mode_;
    int fd_ = -1;
    std::uint32_t interfaceIndex_ = 0;
};

} // namespace corvane
