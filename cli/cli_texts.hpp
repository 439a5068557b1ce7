#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The texts the corvane command prints itself, in one place so that its tests compare
// against the same source.
namespace corvane::cli::texts {

inline constexpr std::string_view programDescription =
    "Corvane: a DHCP server for testing networked devices on a spare wired card.";

inline std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

inline std::string badAddress(std::string_view flag, std::string_view text) {
    return std::string(flag) + ": " + quoted(text) +
           " is not an IPv4 address. Write four numbers from 0 to 255 separated by dots, "
           "such as 192.168.0.1.";
}
inline std::string badPrefix(std::string_view text) {
    return "--prefix: " + quoted(text) +
           " is not a prefix length. Give a whole number of bits, such as 24.";
}
inline std::string badRange(std::string_view text) {
    return "--range: " + quoted(text) +
           " is not an address range. Write the first and the last address joined by a "
           "hyphen, such as 192.168.0.100-192.168.0.200.";
}
inline std::string badLease(std::string_view text) {
    return "--lease: " + quoted(text) +
           " is not a lease time. Give seconds, or a number followed by s, m, h or d, such as "
           "90m or 24h.";
}
inline std::string badDNS(std::string_view text) {
    return "--dns: " + quoted(text) +
           " is not an IPv4 address. List DNS servers as IPv4 addresses separated by commas, "
           "such as 192.168.0.1,9.9.9.9.";
}
inline constexpr std::string_view noInterface =
    "Name the card to serve on with --interface NAME, or with \"interface\" in the --config "
    "file. Run \"corvane cards\" to see the cards.";
inline std::string flagProblem(std::string_view flag, std::string_view value,
                               std::string_view sentence) {
    return std::string(flag) + " " + std::string(value) + ": " + std::string(sentence);
}
inline std::string ownedOption(std::uint8_t code, std::string_view flag) {
    auto sentence = "Option " + std::to_string(code) + " is written by Corvane itself";
    if (flag.empty()) {
        return sentence + " and can't be set.";
    }
    return sentence + "; use " + std::string(flag) + " instead.";
}
inline std::string unknownInterface(std::string_view name) {
    return "There is no network card named " + quoted(name) +
           ". Run \"corvane cards --all\" to see the name of every card.";
}
inline constexpr std::string_view noOfferedCards =
    "No wired network card was found. Run \"corvane cards --all\" to see every card, or add "
    "--virtual to include virtual Ethernet cards.";

inline std::string checksHeading(std::string_view cardName, std::string_view serverText) {
    return "Checks for serving " + std::string(serverText) + " on " + std::string(cardName) + ":";
}
inline std::string fixLine(std::string_view command) {
    return "    To fix it, run: " + std::string(command);
}

inline constexpr std::string_view linkDown = "down";
inline constexpr std::string_view linkUp = "up";
inline constexpr std::string_view primaryMark = "yes";

} // namespace corvane::cli::texts
