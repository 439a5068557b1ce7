#include "core/host/rtnetlink.hpp"

#include <cerrno>
#include <cstring>
#include <functional>
#include <vector>

#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace corvane {
namespace {

using MessageVisitor = std::function<void(const nlmsghdr&)>;

// A dump request: the netlink header followed by the family-specific header.
template <typename Payload> struct DumpRequest {
    nlmsghdr header;
    Payload payload;
};

// Sends one dump request and hands every answer message to `visit`. A dump that stalls
// ends after the receive time limit rather than hanging its caller. False when the kernel
// could not be asked or did not give a whole answer: what was visited is then incomplete.
template <typename Payload>
bool dump(std::uint16_t type, const Payload& payload, const MessageVisitor& visit) {
    const int socketDescriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (socketDescriptor < 0) {
        return false;
    }
    const timeval limit{2, 0};
    setsockopt(socketDescriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);

    DumpRequest<Payload> request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = 1;
    request.payload = payload;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (sendto(socketDescriptor, &request, sizeof request, 0,
               reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) < 0) {
        close(socketDescriptor);
        return false;
    }

    std::vector<char> buffer(65536);
    bool finished = false;
    bool complete = false;
    while (!finished) {
        const auto received = recv(socketDescriptor, buffer.data(), buffer.size(), 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            break;
        }
        auto remaining = static_cast<unsigned int>(received);
        for (auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
             NLMSG_OK(message, remaining); message = NLMSG_NEXT(message, remaining)) {
            if (message->nlmsg_seq != request.header.nlmsg_seq) {
                continue;
            }
            if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR) {
                finished = true;
                complete = message->nlmsg_type == NLMSG_DONE;
                break;
            }
            visit(*message);
        }
    }
    close(socketDescriptor);
    return complete;
}

// Calls `visit(type, data, length)` for each attribute in a block.
template <typename Visitor> void eachAttribute(const rtattr* first, int length, Visitor visit) {
    for (auto* attribute = first; RTA_OK(attribute, length);
         attribute = RTA_NEXT(attribute, length)) {
        visit(attribute->rta_type & NLA_TYPE_MASK, RTA_DATA(attribute),
              static_cast<std::size_t>(RTA_PAYLOAD(attribute)));
    }
}

std::string attributeText(const void* data, std::size_t length) {
    const auto* characters = static_cast<const char*>(data);
    return std::string(characters, strnlen(characters, length));
}

template <typename Number> Number attributeNumber(const void* data, std::size_t length) {
    Number value{};
    std::memcpy(&value, data, std::min(length, sizeof value));
    return value;
}

std::string linkKindIn(const void* data, std::size_t length) {
    std::string kind;
    eachAttribute(static_cast<const rtattr*>(data), static_cast<int>(length),
                  [&](unsigned type, const void* nested, std::size_t nestedLength) {
                      if (type == IFLA_INFO_KIND) {
                          kind = attributeText(nested, nestedLength);
                      }
                  });
    return kind;
}

} // namespace

std::vector<Rtnetlink::Link> Rtnetlink::links() {
    return tryLinks().value_or(std::vector<Link>{});
}

std::optional<std::vector<Rtnetlink::Link>> Rtnetlink::tryLinks() {
    std::vector<Link> links;
    const bool complete = dump(RTM_GETLINK, ifinfomsg{}, [&](const nlmsghdr& message) {
        if (message.nlmsg_type != RTM_NEWLINK) {
            return;
        }
        const auto* info = static_cast<const ifinfomsg*>(NLMSG_DATA(&message));
        Link link;
        link.index = info->ifi_index;
        link.flags = info->ifi_flags;
        link.hardwareType = info->ifi_type;
        eachAttribute(IFLA_RTA(info), static_cast<int>(IFLA_PAYLOAD(&message)),
                      [&](unsigned type, const void* data, std::size_t length) {
                          if (type == IFLA_IFNAME) {
                              link.name = attributeText(data, length);
                          } else if (type == IFLA_ADDRESS && length == 6) {
                              link.mac = MACAddress::fromBytes(
                                  std::span(static_cast<const std::uint8_t*>(data), length));
                          } else if (type == IFLA_LINKINFO) {
                              link.kind = linkKindIn(data, length);
                          }
                      });
        if (!link.name.empty()) {
            links.push_back(std::move(link));
        }
    });
    if (!complete) {
        return std::nullopt;
    }
    return links;
}

std::vector<Rtnetlink::Address> Rtnetlink::addresses() {
    std::vector<Address> addresses;
    ifaddrmsg request{};
    request.ifa_family = AF_INET;
    dump(RTM_GETADDR, request, [&](const nlmsghdr& message) {
        if (message.nlmsg_type != RTM_NEWADDR) {
            return;
        }
        const auto* info = static_cast<const ifaddrmsg*>(NLMSG_DATA(&message));
        if (info->ifa_family != AF_INET) {
            return;
        }
        std::optional<IPv4Address> local;
        std::optional<IPv4Address> address;
        std::uint32_t validLifetime = foreverLifetime;
        eachAttribute(IFA_RTA(info), static_cast<int>(IFA_PAYLOAD(&message)),
                      [&](unsigned type, const void* data, std::size_t length) {
                          const std::span bytes(static_cast<const std::uint8_t*>(data), length);
                          if (type == IFA_LOCAL) {
                              local = IPv4Address::fromBytes(bytes);
                          } else if (type == IFA_ADDRESS) {
                              address = IPv4Address::fromBytes(bytes);
                          } else if (type == IFA_CACHEINFO && length >= sizeof(ifa_cacheinfo)) {
                              validLifetime =
                                  attributeNumber<ifa_cacheinfo>(data, length).ifa_valid;
                          }
                      });
        // On a point-to-point link IFA_ADDRESS is the peer; IFA_LOCAL is ours.
        const auto own = local ? local : address;
        if (own) {
            addresses.push_back({static_cast<int>(info->ifa_index),
                                 Subnet{*own, info->ifa_prefixlen}, validLifetime});
        }
    });
    return addresses;
}

std::vector<Rtnetlink::DefaultRoute> Rtnetlink::defaultRoutes() {
    std::vector<DefaultRoute> routes;
    rtmsg request{};
    request.rtm_family = AF_INET;
    dump(RTM_GETROUTE, request, [&](const nlmsghdr& message) {
        if (message.nlmsg_type != RTM_NEWROUTE) {
            return;
        }
        const auto* info = static_cast<const rtmsg*>(NLMSG_DATA(&message));
        if (info->rtm_family != AF_INET || info->rtm_dst_len != 0 ||
            info->rtm_type != RTN_UNICAST) {
            return;
        }
        std::uint32_t table = info->rtm_table;
        DefaultRoute route;
        eachAttribute(RTM_RTA(info), static_cast<int>(RTM_PAYLOAD(&message)),
                      [&](unsigned type, const void* data, std::size_t length) {
                          if (type == RTA_TABLE) {
                              table = attributeNumber<std::uint32_t>(data, length);
                          } else if (type == RTA_OIF) {
                              route.outputIndex = attributeNumber<int>(data, length);
                          } else if (type == RTA_PRIORITY) {
                              route.metric = attributeNumber<std::uint32_t>(data, length);
                          } else if (type == RTA_MULTIPATH && route.outputIndex == 0 &&
                                     length >= sizeof(rtnexthop)) {
                              route.outputIndex =
                                  attributeNumber<rtnexthop>(data, length).rtnh_ifindex;
                          }
                      });
        if (table == RT_TABLE_MAIN && route.outputIndex != 0) {
            routes.push_back(route);
        }
    });
    return routes;
}

} // namespace corvane
