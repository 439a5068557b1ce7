#include <chrono>
#include <filesystem>
#include <future>

#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/presence/arp_table.hpp"
#include "core/presence/file_descriptor.hpp"
#include "core/presence/prober.hpp"
#include "tests/support/network_lab.hpp"

namespace corvane {
namespace {

using namespace std::chrono_literals;
using testing::NetworkLab;

const IPv4Address nearIP(10, 77, 0, 1);
const IPv4Address farIP(10, 77, 0, 2);
// On the link, but no host holds it: neighbour resolution fails and nothing answers.
const IPv4Address vacantIP(10, 77, 0, 99);

sockaddr_in socketAddress(IPv4Address ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(ip.value());
    return address;
}

// Far listens on port 80 only; "icmp" stands for any round-trip time, "arp" for far's
// hardware address. ARP is left out where another answer is the one under test, because it
// would often come first.
struct ProbeCase {
    const char* rule;
    ICMPMode mode;
    std::vector<std::uint16_t> ports;
    IPv4Address ip;
    std::string detail;
    bool pingSocketsAllowed = true;
    const char* card = "cvnear0";
    ARPProbing arp = ARPProbing::disabled;
};
const ProbeCase probeCases[] = {
    {"ping group admits the datagram socket", ICMPMode::datagram, {}, farIP, "icmp"},
    {"raw socket", ICMPMode::raw, {}, farIP, "icmp", false},
    {"automatic falls back to the raw socket", ICMPMode::automatic, {}, farIP, "icmp", false},
    {"TCP alone, open port", ICMPMode::none, {80}, farIP, "tcp 80 open"},
    {"TCP alone, closed port", ICMPMode::none, {81}, farIP, "tcp 81 refused"},
    {"ARP alone finds a host that drops ICMP and closes its ports",
     ICMPMode::none,
     {},
     farIP,
     "arp",
     true,
     "cvnear0",
     ARPProbing::enabled},
    {"tied to a card off the link",
     ICMPMode::automatic,
     {80},
     farIP,
     "no answer",
     true,
     "lo",
     ARPProbing::enabled},
    {"nobody at the address",
     ICMPMode::automatic,
     {80, 443},
     vacantIP,
     "no answer",
     true,
     "cvnear0",
     ARPProbing::enabled},
};
const ProbeCase& rawToFar = probeCases[1];
const ProbeCase& nobody = probeCases[7];

// Two namespaces joined by a veth pair; the test thread probes from "near" to "far".
class ProberAcrossACable : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = NetworkLab::unavailableReason()) {
            GTEST_SKIP() << *reason;
        }
        lab_.emplace();
        near_ = lab_->addNamespace("near");
        far_ = lab_->addNamespace("far");
        lab_->addVethPair(near_, "cvnear0", far_, "cvfar0");
        lab_->run(near_, "ip address add 10.77.0.1/24 dev cvnear0");
        lab_->run(far_, "ip address add 10.77.0.2/24 dev cvfar0");
        // The kernel completes handshakes from the backlog: nothing needs to accept, and
        // nothing needs to be waited for.
        const NetworkLab::Entered inFar(far_);
        listener_ = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const auto address = socketAddress(farIP, 80);
        ASSERT_EQ(
            ::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
            0);
        ASSERT_EQ(::listen(listener_.get(), 64), 0);
    }

    ProbeResult probe(const ProbeCase& probeCase, std::chrono::milliseconds timeout) {
        lab_->run(near_, std::string("sysctl -qw net.ipv4.ping_group_range='") +
                             (probeCase.pingSocketsAllowed ? "0 2147483647" : "1 0") + "'");
        const NetworkLab::Entered inNear(near_);
        return Prober(probeCase.card, probeCase.ports, probeCase.mode, probeCase.arp)
            .probe(probeCase.ip, timeout);
    }

    std::optional<NetworkLab> lab_;
    std::string near_;
    std::string far_;
    FileDescriptor listener_;
};

// Every socket a probe opens is closed again, whatever the outcome.
TEST_F(ProberAcrossACable, FindsWhatAnswersAndNothingElseAndClosesEverySocket) {
    const auto openDescriptors = [] {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    };
    const auto farMAC = lab_->output(far_, "cat /sys/class/net/cvfar0/address").substr(0, 17);
    const auto before = openDescriptors();
    for (const auto& probeCase : probeCases) {
        const bool silent = probeCase.detail == "no answer";
        // Answers arrive in milliseconds; the long timeout only spares a slow machine.
        const auto result = probe(probeCase, silent ? 300ms : 3000ms);
        EXPECT_EQ(result.answered, !silent) << probeCase.rule << ": " << result.detail;
        const auto shown = result.detail.rfind("icmp ", 0) == 0 ? "icmp"
                           : result.detail == "arp " + farMAC   ? "arp"
                                                                : result.detail;
        EXPECT_EQ(shown, probeCase.detail) << probeCase.rule;
    }
    EXPECT_EQ(openDescriptors(), before);
}

// Echo replies forged from the far namespace with a chosen source, sent until `done`.
void forgeEchoReplies(IPv4Address source, std::uint16_t identifier,
                      const std::future<ProbeResult>& done) {
    const FileDescriptor raw(::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_RAW));
    auto icmp = Prober::echoRequest(identifier, 1);
    icmp[0] = 0;
    icmp[2] = icmp[3] = 0;
    const auto sum = Prober::checksum(icmp);
    icmp[2] = static_cast<std::uint8_t>(sum >> 8);
    icmp[3] = static_cast<std::uint8_t>(sum);
    // The kernel fills in the total length, identification and header checksum.
    Bytes packet = {0x45, 0, 0, 0, 0, 0, 0, 0, 64, IPPROTO_ICMP, 0, 0};
    for (const auto address : {source, nearIP}) {
        const auto bytes = address.bytes();
        packet.insert(packet.end(), bytes.begin(), bytes.end());
    }
    packet.insert(packet.end(), icmp.begin(), icmp.end());
    const auto destination = socketAddress(nearIP, 0);
    do {
        ::sendto(raw.get(), packet.data(), packet.size(), 0,
                 reinterpret_cast<const sockaddr*>(&destination), sizeof(destination));
    } while (done.wait_for(20ms) != std::future_status::ready);
}

TEST_F(ProberAcrossACable, RawSocketTakesOnlyTheProbedHostsReplyToUs) {
    const auto ours = static_cast<std::uint16_t>(::getpid() & 0xFFFF);
    struct Case {
        const char* rule;
        IPv4Address source;
        std::uint16_t identifier;
        bool answered;
    };
    const Case cases[] = {
        {"the probed address with our identifier", vacantIP, ours, true},
        {"another host's reply", farIP, ours, false},
        {"another program's reply", vacantIP, static_cast<std::uint16_t>(ours + 1), false},
    };
    const ProbeCase rawOnly{"", ICMPMode::raw, {}, vacantIP, "", false};
    for (const auto& [rule, source, identifier, answered] : cases) {
        auto result = std::async(std::launch::async, [&] { return probe(rawOnly, 1000ms); });
        {
            const NetworkLab::Entered inFar(far_);
            forgeEchoReplies(source, identifier, result);
        }
        EXPECT_EQ(result.get().answered, answered) << rule;
    }
}

// After a failed lookup the kernel re-asks by ARP only once a second for three seconds, and
// holds a new probe's packets until then: a device that took the address meanwhile must be
// seen anyway, or its address would be given to another. The second probe ends before the
// kernel's next retry, so only an answer to a request of the probe's own can reach it.
TEST_F(ProberAcrossACable, ADeviceThatAppearsJustAfterAFailedProbeIsSeen) {
    const ProbeCase atVacant{"",        ICMPMode::automatic, {80}, vacantIP, "", true,
                             "cvnear0", ARPProbing::enabled};
    ASSERT_FALSE(probe(atVacant, 300ms).answered);
    lab_->run(far_, "ip address add 10.77.0.99/24 dev cvfar0");
    const auto result = probe(atVacant, 500ms);
    EXPECT_TRUE(result.answered) << result.detail;
}

TEST_F(ProberAcrossACable, NeighbourTableHoldsOnlyTheHostThatAnswered) {
    const auto farMAC =
        MACAddress::parse(lab_->output(far_, "cat /sys/class/net/cvfar0/address").substr(0, 17));
    ASSERT_TRUE(farMAC);
    ASSERT_TRUE(probe(rawToFar, 3000ms).answered);
    (void)probe(nobody, 200ms);

    const NetworkLab::Entered inNear(near_);
    const auto everything = ARPTable::read();
    EXPECT_EQ(everything.contains(farIP) ? everything.at(farIP) : MACAddress(), *farMAC);
    EXPECT_FALSE(everything.contains(vacantIP)) << "an unresolved neighbour counted as present";
    EXPECT_TRUE(ARPTable::read(::if_nametoindex("cvnear0")).contains(farIP));
    EXPECT_TRUE(ARPTable::read(::if_nametoindex("lo")).empty());
}

} // namespace
} // namespace corvane
