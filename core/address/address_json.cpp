#include "core/address/address_json.hpp"

void nlohmann::adl_serializer<corvane::IPv4Address>::to_json(json& document,
                                                             const corvane::IPv4Address& address) {
    document = address.description();
}

void nlohmann::adl_serializer<corvane::IPv4Address>::from_json(const json& document,
                                                               corvane::IPv4Address& address) {
    const auto text = document.get<std::string>();
    const auto parsed = corvane::IPv4Address::parse(text);
    if (!parsed) {
        throw corvane::DecodingError("Not an IPv4 address: " + text);
    }
    address = *parsed;
}

void nlohmann::adl_serializer<corvane::MACAddress>::to_json(json& document,
                                                            const corvane::MACAddress& address) {
    document = address.description();
}

void nlohmann::adl_serializer<corvane::MACAddress>::from_json(const json& document,
                                                              corvane::MACAddress& address) {
    const auto text = document.get<std::string>();
    const auto parsed = corvane::MACAddress::parse(text);
    if (!parsed) {
        throw corvane::DecodingError("Not a MAC address: " + text);
    }
    address = *parsed;
}
