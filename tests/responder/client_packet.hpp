#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "core/packet/dhcp_packet.hpp"
#include "core/packet/option_code.hpp"

namespace corvane::testing {

// Builds a client message the way busybox udhcpc lays it out (53, 61, 50, 54, 57, 55, 12,
// 60), then sends it through the wire format and back, so the responder sees what a socket
// would have handed over.
class ClientPacket {
public:
    static constexpr std::string_view hostname = "corvane-camera";

    ClientPacket(DHCPMessageType type, const MACAddress& mac) : type_(type), mac_(mac) {}

    ClientPacket& requesting(IPv4Address ip) {
        requested_ = ip;
        return *this;
    }
    ClientPacket& toServer(IPv4Address ip) {
        server_ = ip;
        return *this;
    }
    ClientPacket& from(IPv4Address ciaddr) {
        ciaddr_ = ciaddr;
        return *this;
    }
    ClientPacket& vendor(std::string_view vendorClass) {
        vendorClass_ = std::string(vendorClass);
        return *this;
    }
    // For the messages a well-behaved client never sends.
    ClientPacket& edited(std::function<void(DHCPPacket&)> edit) {
        edit_ = std::move(edit);
        return *this;
    }

    DHCPPacket wire() const {
        DHCPPacket packet;
        packet.xid = 0x225ef47f;
        std::copy(mac_.bytes().begin(), mac_.bytes().end(), packet.chaddr.begin());
        packet.ciaddr = ciaddr_;
        packet.setOption(OptionCode::messageType, {static_cast<std::uint8_t>(type_)});
        Bytes clientID{1};
        clientID.insert(clientID.end(), mac_.bytes().begin(), mac_.bytes().end());
        packet.setOption(OptionCode::clientID, clientID);
        if (requested_) {
            packet.setOption(OptionCode::requestedIP, asBytes(*requested_));
        }
        if (server_) {
            packet.setOption(OptionCode::serverID, asBytes(*server_));
        }
        packet.setOption(57, {0x02, 0x40});
        packet.setOption(OptionCode::parameterList, {1, 3, 6, 12, 15, 28, 42});
        packet.setOption(OptionCode::hostname, Bytes(hostname.begin(), hostname.end()));
        if (vendorClass_) {
            packet.setOption(OptionCode::vendorClass,
                             Bytes(vendorClass_->begin(), vendorClass_->end()));
        }
        if (edit_) {
            edit_(packet);
        }
        return std::get<DHCPPacket>(DHCPPacket::parse(packet.serialize(0)));
    }

private:
    static Bytes asBytes(IPv4Address ip) {
        const auto bytes = ip.bytes();
        return Bytes(bytes.begin(), bytes.end());
    }

    DHCPMessageType type_;
    MACAddress mac_;
    std::optional<IPv4Address> requested_;
    std::optional<IPv4Address> server_;
    IPv4Address ciaddr_;
    std::optional<std::string> vendorClass_;
    std::function<void(DHCPPacket&)> edit_;
};

} // namespace corvane::testing
