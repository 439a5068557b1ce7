#include "core/config/reservation.hpp"

#include "core/config/config_texts.hpp"

namespace corvane {

std::string Reservation::text() const {
    auto written = mac.description() + "=" + ip.description();
    if (!name.empty()) {
        written += "=" + name;
    }
    return written;
}

std::variant<Reservation, std::string> parseReservation(std::string_view text) {
    const auto first = text.find('=');
    if (first == std::string_view::npos) {
        return std::string(config_texts::reservationNotMACEqualsIP);
    }
    const auto second = text.find('=', first + 1);
    const auto macText = text.substr(0, first);
    const auto ipText = text.substr(
        first + 1, second == std::string_view::npos ? std::string_view::npos : second - first - 1);
    const auto mac = MACAddress::parse(macText);
    if (!mac) {
        return config_texts::reservationBadMAC(macText);
    }
    const auto ip = IPv4Address::parse(ipText);
    if (!ip) {
        return config_texts::reservationBadAddress(ipText);
    }
    Reservation reservation{*mac, *ip, {}};
    if (second != std::string_view::npos) {
        reservation.name = std::string(text.substr(second + 1));
    }
    return reservation;
}

} // namespace corvane
