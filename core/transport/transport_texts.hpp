#pragma once

#include <cstdint>
#include <string>

#include "core/address/ipv4_address.hpp"

// Every text the transport puts in front of a user: the names of its steps as they appear
// in a TransportError, and the error's own sentence.
namespace corvane::transport_texts {

inline constexpr const char* createSocket = "socket";
inline constexpr const char* allowBroadcast = "setsockopt SO_BROADCAST";
inline constexpr const char* requestArrivalInterface = "setsockopt IP_PKTINFO";
inline constexpr const char* requestArrivalTime = "setsockopt SO_TIMESTAMPNS";
inline constexpr const char* bindToDevice = "setsockopt SO_BINDTODEVICE";
inline constexpr const char* makeNonBlocking = "fcntl O_NONBLOCK";
inline constexpr const char* receiveMessage = "recvmsg";

std::string findInterface(const std::string& name);
std::string bind(IPv4Address address, std::uint16_t port);
std::string sendTo(IPv4Address address, std::uint16_t port);
// "{operation} failed: {strerror} (errno {code})".
std::string failure(const std::string& operation, int code);

} // namespace corvane::transport_texts
