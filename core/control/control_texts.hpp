#pragma once

#include <string>
#include <string_view>

// What the control channel says to its clients and to the person running a command.
namespace corvane::control_texts {

inline constexpr std::string_view notJSON =
    "The request is not a JSON object. Send one object per line, e.g. {\"request\":\"leases\"}.";
inline constexpr std::string_view noRequestName =
    "The request has no \"request\" name. Use leases, forget, clear-inactive or subscribe.";
inline std::string unknownRequest(std::string_view name) {
    return "There is no request named \"" + std::string(name) +
           "\". Use leases, forget, clear-inactive or subscribe.";
}
inline std::string badMAC(std::string_view text) {
    return "\"" + std::string(text) + "\" is not a MAC address. Write it as 3c:22:fb:01:02:03.";
}
inline constexpr std::string_view missingMAC =
    "The forget request needs a \"mac\", e.g. "
    "{\"request\":\"forget\",\"mac\":\"3c:22:fb:01:02:03\"}.";
inline std::string noLeaseFor(std::string_view mac) {
    return "The server has no lease for " + std::string(mac) + ".";
}
inline std::string lineTooLong(std::size_t limit) {
    return "The request is longer than " + std::to_string(limit) +
           " bytes, so the connection is closed. Send one short JSON object per line.";
}
inline std::string sendFailed(std::string_view reason) {
    return "Could not send the request to the running server: " + std::string(reason) + ".";
}
inline constexpr std::string_view serverWentAway =
    "The server closed the control connection before it answered. It may have stopped; run "
    "the command again.";
inline constexpr std::string_view stopping = "The server is stopping and takes no more requests.";

inline std::string directoryUnsafe(std::string_view path) {
    return "The folder " + std::string(path) +
           " is not private to this user (it must be a folder owned by you with mode 0700). "
           "Remove it or fix its owner and mode.";
}
inline std::string socketFailed(std::string_view operation, std::string_view path,
                                std::string_view reason) {
    return "Could not " + std::string(operation) + " the control socket " + std::string(path) +
           ": " + std::string(reason) + ".";
}

} // namespace corvane::control_texts
