#pragma once

#include <cstdint>

// The option numbers this server reads or writes (RFC 2132). A namespace of constants
// rather than an enumeration: a packet may carry any number, and unknown ones pass through.
namespace corvane::OptionCode {

inline constexpr std::uint8_t pad = 0;
inline constexpr std::uint8_t subnetMask = 1;
inline constexpr std::uint8_t router = 3;
inline constexpr std::uint8_t dns = 6;
inline constexpr std::uint8_t hostname = 12;
inline constexpr std::uint8_t broadcastAddress = 28;
inline constexpr std::uint8_t vendorSpecific = 43;
inline constexpr std::uint8_t requestedIP = 50;
inline constexpr std::uint8_t leaseTime = 51;
inline constexpr std::uint8_t overload = 52;
inline constexpr std::uint8_t messageType = 53;
inline constexpr std::uint8_t serverID = 54;
inline constexpr std::uint8_t parameterList = 55;
inline constexpr std::uint8_t message = 56;
inline constexpr std::uint8_t renewalTime = 58;
inline constexpr std::uint8_t rebindingTime = 59;
inline constexpr std::uint8_t vendorClass = 60;
inline constexpr std::uint8_t clientID = 61;
inline constexpr std::uint8_t end = 255;

} // namespace corvane::OptionCode
