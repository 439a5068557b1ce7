#include <map>

#include <gtest/gtest.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "core/presence/arp_table.hpp"

namespace corvane {
namespace {

struct Attribute {
    std::uint16_t type;
    Bytes value;
    std::optional<std::uint16_t> claimedLength = std::nullopt;
};

template <typename Header> void append(Bytes& bytes, const Header& header) {
    const auto* raw = reinterpret_cast<const std::uint8_t*>(&header);
    bytes.insert(bytes.end(), raw, raw + sizeof(header));
}

void padTo4(Bytes& bytes) {
    bytes.resize((bytes.size() + 3) & ~std::size_t{3}, 0);
}

// One message of a neighbour dump as the kernel lays it out: netlink header, ndmsg, then
// attributes padded to four bytes; the stated length leaves out the final padding.
struct NeighbourMessage {
    std::uint16_t type = RTM_NEWNEIGH;
    std::uint8_t family = AF_INET;
    int interfaceIndex = 2;
    std::uint16_t state = NUD_REACHABLE;
    std::vector<Attribute> attributes;
    std::optional<std::uint32_t> claimedLength;

    void appendTo(Bytes& dump) const {
        Bytes body;
        ndmsg neighbour{};
        neighbour.ndm_family = family;
        neighbour.ndm_ifindex = interfaceIndex;
        neighbour.ndm_state = state;
        append(body, neighbour);
        for (const auto& [attributeType, value, attributeLength] : attributes) {
            padTo4(body);
            const auto length = static_cast<std::uint16_t>(sizeof(rtattr) + value.size());
            append(body, rtattr{attributeLength.value_or(length), attributeType});
            body.insert(body.end(), value.begin(), value.end());
        }
        nlmsghdr header{};
        header.nlmsg_len = claimedLength.value_or(sizeof(nlmsghdr) + body.size());
        header.nlmsg_type = type;
        append(dump, header);
        dump.insert(dump.end(), body.begin(), body.end());
        padTo4(dump);
    }
};

NeighbourMessage entry(const char* ip, const char* mac) {
    const auto address = IPv4Address::parse(ip)->bytes();
    const auto hardware = MACAddress::parse(mac)->bytes();
    NeighbourMessage message;
    message.attributes = {{NDA_DST, Bytes(address.begin(), address.end())},
                          {NDA_LLADDR, Bytes(hardware.begin(), hardware.end())}};
    return message;
}

NeighbourMessage edited(NeighbourMessage message, auto edit) {
    edit(message);
    return message;
}

using Table = std::map<std::string, std::string>;

Table parsed(const std::vector<NeighbourMessage>& messages,
             std::optional<unsigned> interfaceIndex = std::nullopt) {
    Bytes dump;
    for (const auto& message : messages) {
        message.appendTo(dump);
    }
    Table table;
    for (const auto& [ip, mac] : ARPTable::parse(dump, interfaceIndex)) {
        table[ip.description()] = mac.description();
    }
    return table;
}

TEST(ARPTableParse, KeepsOnlyResolvedIPv4EntriesAndStopsAtImpossibleLengths) {
    const auto two = entry("10.0.0.2", "02:00:00:00:00:02");
    const auto three = entry("10.0.0.3", "02:00:00:00:00:03");
    const Table both = {{"10.0.0.2", "02:00:00:00:00:02"}, {"10.0.0.3", "02:00:00:00:00:03"}};
    const Table onlyTwo = {*both.begin()};
    const Table onlyThree = {*both.rbegin()};
    const auto inState = [&](std::uint16_t state) {
        return edited(two, [=](auto& m) { m.state = state; });
    };
    const auto threeClaiming = [&](std::uint32_t length) {
        return edited(three, [=](auto& m) { m.claimedLength = length; });
    };
    struct Case {
        const char* rule;
        std::vector<NeighbourMessage> messages;
        Table expected;
    };
    const Case cases[] = {
        {"a stale entry still names the holder", {inState(NUD_STALE), three}, both},
        {"failed resolution is no answer", {inState(NUD_FAILED), three}, onlyThree},
        {"IPv6 neighbours are not ours",
         {edited(two, [](auto& m) { m.family = AF_INET6; }), three},
         onlyThree},
        {"a hardware address that is not Ethernet",
         {edited(two,
                 [](auto& m) {
                     m.attributes[1].value = {1, 2, 3, 4};
                 })},
         {}},
        {"attributes in any order, each padded",
         {edited(two,
                 [](auto& m) {
                     m.attributes = {{99, {7}}, m.attributes[1], {98, {1, 2, 3}}, m.attributes[0]};
                 })},
         onlyTwo},
        {"the end of the dump",
         {two, edited(three, [](auto& m) { m.type = NLMSG_DONE; }), three},
         onlyTwo},
        {"a message length past the data", {two, threeClaiming(4096)}, onlyTwo},
        {"an attribute length past its message",
         {edited(two, [](auto& m) { m.attributes[1].claimedLength = 200; }), three},
         onlyThree},
    };
    for (const auto& [rule, messages, expected] : cases) {
        EXPECT_EQ(parsed(messages), expected) << rule;
    }
    EXPECT_EQ(parsed({two, edited(three, [](auto& m) { m.interfaceIndex = 7; })}, 7u), onlyThree);
}

} // namespace
} // namespace corvane
