#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"

namespace corvane {

// A value in a JSON document that has the right JSON type but cannot be what it claims
// ("corrupted data"): an address that does not parse, an unknown state word, a bad date.
class DecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace corvane

// Both addresses travel in JSON as their text form.
template <> struct nlohmann::adl_serializer<corvane::IPv4Address> {
    static void to_json(json& document, const corvane::IPv4Address& address);
    static void from_json(const json& document, corvane::IPv4Address& address);
};

template <> struct nlohmann::adl_serializer<corvane::MACAddress> {
    static void to_json(json& document, const corvane::MACAddress& address);
    static void from_json(const json& document, corvane::MACAddress& address);
};
