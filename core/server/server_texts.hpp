#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/packet/dhcp_message_type.hpp"

// Every log phrase the server runtime writes itself, in one place so the log and the tests
// read the same words. Notice messages live with the notices.
namespace corvane::server_texts {

inline std::string droppedOutsideRange(IPv4Address ip, const MACAddress& mac) {
    return "dropped lease " + ip.description() + " for " + mac.description() +
           ": outside the range";
}

// 19903 as "19,903": a count of folded lines is read at a glance.
inline std::string groupedDigits(std::size_t count) {
    auto digits = std::to_string(count);
    for (auto position = digits.size(); position > 3; position -= 3) {
        digits.insert(position - 3, ",");
    }
    return digits;
}

// An empty reason stands for the drops folded together once too many reasons were seen.
inline std::string foldedDrops(std::string_view reason, std::size_t count, std::int64_t seconds) {
    return (reason.empty() ? std::string("drops for other reasons") : std::string(reason)) +
           " … and " + groupedDigits(count) + " more like this in the last " +
           std::to_string(seconds) + " s";
}

inline constexpr std::string_view linkStateUnreadable =
    "could not read the card's link state from the kernel; keeping the last known state";

inline std::string receiveFailed(std::string_view error) {
    return "receive failed: " + std::string(error);
}

inline std::string arrivedOnOtherCard(std::string_view arrivalCard, std::string_view servedCard) {
    return "arrived on " + std::string(arrivalCard) + " instead of " + std::string(servedCard);
}

// How a card is named when the kernel knows its index but no longer its name.
inline std::string unnamedInterface(std::uint32_t index) {
    return "interface " + std::to_string(index);
}

inline constexpr std::string_view arrivalCheckUnavailable =
    "arrival interface check unavailable; relying on SO_BINDTODEVICE";

inline std::string malformed(std::string_view error) {
    return "malformed (" + std::string(error) + ")";
}

inline std::string probingBeforeReuse(IPv4Address ip) {
    return "probing " + ip.description() + " before giving it to another device";
}

inline std::string notSent(DHCPMessageType type, std::string_view cause) {
    return std::string(description(type)) + " not sent: " + std::string(cause);
}
inline constexpr std::string_view socketClosed = "socket closed";
inline std::string packetFailed(std::string_view error) {
    return "A request could not be handled and was skipped: " + std::string(error);
}
inline constexpr std::string_view tooManyWaitingForProbes =
    "too many requests are waiting for address probes";
inline constexpr std::string_view waitedTooLong =
    "waited longer for an address probe than a client waits for its answer";
inline constexpr std::string_view queuedTooLong =
    "waited in the receive queue longer than a client waits for its answer";
inline constexpr std::string_view leaseNotSaved = "its lease could not be saved";
inline constexpr std::string_view uncleanStopFound =
    "The last server using this lease file did not stop cleanly; its last changes were "
    "recovered from the journal.";
inline std::string changesLost(std::size_t count) {
    return "Stopped without saving " + std::to_string(count) +
           " lease changes: the lease file could not be written. Free some space on its disk "
           "before starting again.";
}
inline std::string snapshotFailed(std::string_view error) {
    return "The lease file could not be rewritten; its changes are kept in the journal "
           "meanwhile: " +
           std::string(error);
}
inline constexpr std::string_view linkDown = "link down";
inline std::string addressNotOnCard(IPv4Address serverIP, std::string_view card) {
    return serverIP.description() + " is not on " + std::string(card) + " right now";
}

inline std::string couldNotReopen(std::string_view card, std::string_view error) {
    return "could not reopen " + std::string(card) + ": " + std::string(error);
}

inline std::string cardIsBack(std::string_view card) {
    return std::string(card) + " is back";
}

// Why every bound device is shown offline at once.
inline constexpr std::string_view offlineBecauseLinkDown = "link down";
inline constexpr std::string_view offlineBecauseUnplugged = "adapter unplugged";

} // namespace corvane::server_texts
