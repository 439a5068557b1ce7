#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/packet/dhcp_message_type.hpp"

// Every phrase the responder reports (drops, log lines, NAK reasons, reply notes), in one
// place so the log and the tests read the same words.
namespace corvane::responder_texts {

inline std::string notClientRequest(std::uint8_t op) {
    return "not a client request (op " + std::to_string(op) + ")";
}
inline std::string notEthernet(std::uint8_t htype, std::uint8_t hlen) {
    return "not Ethernet (htype " + std::to_string(htype) + ", hlen " + std::to_string(hlen) + ")";
}
inline constexpr std::string_view relayed = "relayed request (not served)";
inline constexpr std::string_view bootp = "BOOTP request (not served)";
inline std::string serverMessage(DHCPMessageType type) {
    return std::string(description(type)) + " is a server message";
}
inline constexpr std::string_view poolExhausted = "address pool exhausted";
inline constexpr std::string_view noQuietAddress =
    "every address probed for this request was in use";
inline constexpr std::string_view tableFull = "lease table full of active leases";
inline constexpr std::string_view declineWithoutAddress = "DECLINE without a requested address";
inline std::string declineOutsideRange(IPv4Address ip) {
    return "DECLINE for " + ip.description() + ", which is outside the range";
}
inline std::string declineNotHeld(IPv4Address ip) {
    return "DECLINE for " + ip.description() +
           ", which this client was not offered and does not hold";
}
inline std::string informFromOtherNetwork(IPv4Address ciaddr) {
    return "INFORM from " + ciaddr.description() + ", which is not on this network";
}

inline std::string choseAnotherServer(const MACAddress& mac, IPv4Address server) {
    return "client " + mac.description() + " chose another server (" + server.description() + ")";
}
inline std::string declined(const MACAddress& mac, IPv4Address ip, std::string_view duration) {
    return "conflict: " + mac.description() + " reports " + ip.description() +
           " is already in use; quarantined for " + std::string(duration);
}
inline std::string releaseForAnotherServer(const MACAddress& mac) {
    return "RELEASE from " + mac.description() + " for another server ignored";
}
inline std::string releaseOfUnknownLease(const MACAddress& mac) {
    return "RELEASE from " + mac.description() + " for an unknown lease ignored";
}
inline std::string informAnswered(IPv4Address ciaddr, const MACAddress& mac) {
    return "static-IP device " + ciaddr.description() + " (" + mac.description() +
           ") asked for options";
}
inline std::string reclaimed(IPv4Address ip, const MACAddress& previousHolder) {
    return "range full: reclaimed " + ip.description() + " from " + previousHolder.description() +
           " (offline, lease not expired)";
}

inline std::string optionLeftOut(std::uint8_t code, std::size_t limit) {
    return "option " + std::to_string(code) + " left out: the reply would exceed the " +
           std::to_string(limit) + " bytes the client accepts";
}
inline std::string reservedTakenFrom(IPv4Address ip, const MACAddress& holder,
                                     const MACAddress& reserved) {
    return "reserved address " + ip.description() + " taken from " + holder.description() +
           " for " + reserved.description() + ", its reserved device";
}
inline std::string reservedDeclinedRecently(IPv4Address ip) {
    return "reserved address " + ip.description() + " was declined recently";
}

inline constexpr std::string_view notTheReservedAddress =
    "requested address is not this device's reserved address";
inline constexpr std::string_view reservedForAnotherDevice =
    "address is reserved for another device";
inline constexpr std::string_view noRequestedAddress = "no requested address";
inline constexpr std::string_view requestedNotAvailable = "requested address is not available";
inline constexpr std::string_view notOnThisNetwork = "requested address is not on this network";
inline constexpr std::string_view outsideRange = "requested address is outside the range";
inline constexpr std::string_view declinedRecently = "requested address was declined recently";
inline constexpr std::string_view inUseByAnotherDevice = "address in use by another device";
inline constexpr std::string_view notAvailableForRenewal = "address is not available for renewal";

inline std::string leaseNote(std::string_view duration) {
    return "lease " + std::string(duration);
}
inline constexpr std::string_view apcCookieNote = "+APC cookie";
inline constexpr std::string_view notePartSeparator = ", ";

} // namespace corvane::responder_texts
