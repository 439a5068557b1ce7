#pragma once

#include <functional>

#include <gtest/gtest.h>

#include "core/config/server_config.hpp"
#include "core/leases/lease_table.hpp"
#include "core/packet/dhcp_packet.hpp"
#include "core/packet/option_code.hpp"
#include "core/responder/decision.hpp"
#include "core/responder/responder.hpp"
#include "core/responder/responder_texts.hpp"

namespace corvane::testing {

using namespace std::chrono_literals;
using State = Lease::State;
using Notes = std::vector<ServerEvent>;
namespace texts = responder_texts;

// 2025-03-01T12:00:00Z.
inline constexpr TimePoint now{std::chrono::seconds{1'740'830'400}};

// An address on the served network 192.168.2.0/24.
inline IPv4Address lan(std::uint8_t host) {
    return IPv4Address(192, 168, 2, host);
}
inline const IPv4Address server = lan(1);

inline constexpr MACAddress device(std::uint8_t number) {
    return MACAddress(MACAddress::ByteArray{0x02, 0x00, 0x5e, 0x00, 0x00, number});
}
inline const MACAddress client = device(0xC1);
inline const MACAddress other = device(0x01);

// Lending .100 to .110 for an hour, with a router and two DNS servers.
inline ServerConfig testConfig() {
    return ServerConfig{.serverIP = server,
                        .prefixLength = 24,
                        .rangeStart = lan(100),
                        .rangeEnd = lan(110),
                        .leaseSeconds = 3600,
                        .router = server,
                        .dns = {server, IPv4Address(9, 9, 9, 9)}};
}

inline Lease leaseOf(const MACAddress& mac, std::uint8_t host, State state,
                     std::chrono::seconds expiresIn, std::chrono::seconds seenAgo = 0s) {
    Lease lease;
    lease.mac = mac;
    lease.ip = lan(host);
    lease.state = state;
    lease.expiresAt = now + expiresIn;
    lease.firstSeen = lease.lastSeen = now - seenAgo;
    return lease;
}

// Builds a client message the way busybox udhcpc lays it out (53, 61, 50, 54, 57, 55, 12,
// 60), then sends it through the wire format and back, so the responder sees what a socket
// would have handed over.
class ClientPacket {
public:
    static constexpr std::string_view hostname = "corvane-camera";

    ClientPacket(DHCPMessageType type, const MACAddress& mac = client) : type_(type), mac_(mac) {}

    ClientPacket& requesting(IPv4Address ip) { return set(requested_, ip); }
    ClientPacket& toServer(IPv4Address ip) { return set(server_, ip); }
    ClientPacket& from(IPv4Address ciaddr) { return set(ciaddr_, ciaddr); }
    ClientPacket& vendor(std::string_view text) { return set(vendor_, std::string(text)); }
    // For the messages a well-behaved client never sends.
    ClientPacket& edited(std::function<void(DHCPPacket&)> edit) { return set(edit_, edit); }

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
            packet.setOption(OptionCode::requestedIP, bytesOf(*requested_));
        }
        if (server_) {
            packet.setOption(OptionCode::serverID, bytesOf(*server_));
        }
        packet.setOption(57, {0x02, 0x40});
        packet.setOption(OptionCode::parameterList, {1, 3, 6, 12, 15, 28, 42});
        packet.setOption(OptionCode::hostname, Bytes(hostname.begin(), hostname.end()));
        if (vendor_) {
            packet.setOption(OptionCode::vendorClass, Bytes(vendor_->begin(), vendor_->end()));
        }
        if (edit_) {
            edit_(packet);
        }
        return std::get<DHCPPacket>(DHCPPacket::parse(packet.serialize(0)));
    }

private:
    static Bytes bytesOf(IPv4Address ip) {
        const auto bytes = ip.bytes();
        return Bytes(bytes.begin(), bytes.end());
    }
    template <typename Field, typename Value> ClientPacket& set(Field& field, Value value) {
        field = std::move(value);
        return *this;
    }

    DHCPMessageType type_;
    MACAddress mac_;
    std::optional<IPv4Address> requested_;
    std::optional<IPv4Address> server_;
    IPv4Address ciaddr_;
    std::optional<std::string> vendor_;
    std::function<void(DHCPPacket&)> edit_;
};

inline DecisionContext contextOf(LeaseTable table, TimePoint at = now) {
    return DecisionContext{std::move(table), {}, {}, at};
}

// Decides on both entry points: handing the snapshot over must not change the decision.
inline Decision decide(const ClientPacket& packet, const DecisionContext& context,
                       ServerConfig config = testConfig()) {
    const Responder responder(std::move(config));
    auto decision = responder.decide(packet.wire(), context);
    EXPECT_EQ(responder.decide(packet.wire(), DecisionContext(context)), decision)
        << "handing the table over changed the decision";
    return decision;
}
inline Decision decide(const ClientPacket& packet, LeaseTable table = {},
                       ServerConfig config = testConfig()) {
    return decide(packet, contextOf(std::move(table)), std::move(config));
}

inline std::optional<MACAddress> holderOf(const LeaseTable& table, IPv4Address address,
                                          TimePoint at = now) {
    const auto holder = table.holder(address, at);
    return holder ? std::optional(holder->mac) : std::nullopt;
}

inline const Reply* replyOf(const Decision& decision) {
    return std::get_if<Reply>(&decision.action);
}

inline ServerEvent dropped(std::string_view reason, std::optional<MACAddress> mac = client) {
    return ServerEvent::Dropped{std::string(reason), mac};
}

} // namespace corvane::testing
