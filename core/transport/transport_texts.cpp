#include "core/transport/transport_texts.hpp"

#include <cstring>

namespace corvane::transport_texts {
namespace {

std::string endpoint(IPv4Address address, std::uint16_t port) {
    return address.description() + ":" + std::to_string(port);
}

} // namespace

std::string findInterface(const std::string& name) {
    return "find interface " + name;
}

std::string bind(IPv4Address address, std::uint16_t port) {
    return "bind " + endpoint(address, port);
}

std::string sendTo(IPv4Address address, std::uint16_t port) {
    return "send to " + endpoint(address, port);
}

std::string failure(const std::string& operation, int code) {
    // strerror_r in its GNU form may return a static string instead of filling the buffer.
    char buffer[256] = {};
    const char* message = strerror_r(code, buffer, sizeof buffer);
    return operation + " failed: " + message + " (errno " + std::to_string(code) + ")";
}

} // namespace corvane::transport_texts
