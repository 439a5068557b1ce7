#pragma once

#include <cstdint>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace corvane::testing {

// A UDP socket on 127.0.0.1 holding a kernel-chosen port for as long as it lives: a free port
// for a loopback server, or a taken one for a server that must fail to open it.
class HeldLoopbackPort {
public:
    HeldLoopbackPort() : socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    ~HeldLoopbackPort() { ::close(socket_); }
    HeldLoopbackPort(const HeldLoopbackPort&) = delete;
    HeldLoopbackPort& operator=(const HeldLoopbackPort&) = delete;
    std::uint16_t port() const { return port_; }

private:
    int socket_;
    std::uint16_t port_ = 0;
};

} // namespace corvane::testing
