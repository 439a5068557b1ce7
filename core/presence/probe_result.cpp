#include "core/presence/probe_result.hpp"

#include <array>
#include <charconv>

namespace corvane {

ProbeResult ProbeResult::silent() {
    return {false, "no answer"};
}

ProbeResult ProbeResult::echoReply(std::chrono::duration<double, std::milli> roundTrip) {
    // to_chars rather than printf: the desktop program sets the user's locale, and a decimal
    // comma must not creep into log lines.
    std::array<char, 32> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(),
                                       roundTrip.count(), std::chars_format::fixed, 1);
    return {true, "icmp " + std::string(digits.data(), written.ptr) + " ms"};
}

ProbeResult ProbeResult::arpAnswer(const MACAddress& from) {
    return {true, "arp " + from.description()};
}

ProbeResult ProbeResult::tcpOpen(std::uint16_t port) {
    return {true, "tcp " + std::to_string(port) + " open"};
}

ProbeResult ProbeResult::tcpRefused(std::uint16_t port) {
    return {true, "tcp " + std::to_string(port) + " refused"};
}

} // namespace corvane
