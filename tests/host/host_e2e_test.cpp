#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "tests/host/fake_programs.hpp"
#include "tests/support/network_lab.hpp"

namespace corvane {
namespace {

using testing::NetworkLab;

// Two private namespaces joined by a veth pair: "card" holds the end under test, "device"
// the far end.
class CardLab : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = NetworkLab::unavailableReason()) {
            GTEST_SKIP() << *reason;
        }
        lab_.emplace();
        card_ = lab_->addNamespace("card");
        device_ = lab_->addNamespace("device");
        lab_->addVethPair(card_, "cv0", device_, "cvdev0");
    }

    std::optional<NetworkCard> cardNamed(const std::string& name) {
        // No nmcli on this search path: the kernel's view, whatever the host runs.
        const NetworkLab::Entered inside(card_);
        for (auto& card : Interfaces::list(ProcessRunner(fakes_.folder().string()))) {
            if (card.bsdName == name) {
                return card;
            }
        }
        return std::nullopt;
    }

    // Starts a program in the card namespace that binds UDP 67 and writes to a FIFO once
    // it holds the port; returns its process ID after that write, or 0 on time-out.
    pid_t holdPort67() {
        const auto ready = fakes_.folder() / "ready";
        if (mkfifo(ready.c_str(), 0600) != 0) {
            return 0;
        }
        const int reader = open(ready.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        const pid_t holder =
            lab_->spawn(card_, {"/usr/bin/python3", "-c",
                                "import socket, sys, time\n"
                                "s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n"
                                "s.bind(('0.0.0.0', 67))\n"
                                "open(sys.argv[1], 'w').write('bound')\n"
                                "time.sleep(120)\n",
                                ready.string()});
        pollfd bound{reader, POLLIN, 0};
        const bool heard = poll(&bound, 1, 10'000) == 1;
        close(reader);
        return heard ? holder : 0;
    }

    std::optional<NetworkLab> lab_;
    std::string card_;
    std::string device_;
    testing::FakePrograms fakes_;
};

TEST_F(CardLab, AVethShowsUpAsAVirtualCardWithLinkMediaAddressesAndMethod) {
    lab_->run(card_, "ip address add 192.168.77.1/24 dev cv0 && "
                     "ip address add 10.55.0.9/16 dev cv0 valid_lft 600 preferred_lft 600");
    const auto mac = lab_->output(card_, "cat /sys/class/net/cv0/address");
    const auto card = cardNamed("cv0");
    ASSERT_TRUE(card);
    EXPECT_EQ(card->kind, NetworkCard::Kind::other);
    EXPECT_TRUE(card->isVirtualEthernet);
    EXPECT_TRUE(card->linkUp);
    EXPECT_EQ(card->media, "10GBase-T full-duplex");
    EXPECT_EQ(card->mac, MACAddress::parse(mac.substr(0, mac.find('\n'))));
    EXPECT_EQ(card->addresses, (std::vector<Subnet>{*Subnet::parse("192.168.77.1/24"),
                                                    *Subnet::parse("10.55.0.9/16")}));
    EXPECT_EQ(card->serviceName, "cv0");
    EXPECT_EQ(card->configMethod,
              NetworkCard::ConfigMethod(NetworkCard::Manual{IPv4Address(192, 168, 77, 1),
                                                            IPv4Address(255, 255, 255, 0)}));
    EXPECT_FALSE(card->isPrimary);

    // An address with a lease time is one a DHCP client set.
    lab_->run(card_, "ip address del 192.168.77.1/24 dev cv0");
    const auto leased = cardNamed("cv0");
    ASSERT_TRUE(leased);
    EXPECT_EQ(leased->configMethod, NetworkCard::ConfigMethod(NetworkCard::DHCP{}));
}

// The command itself, run inside the namespace so that it sees that namespace's sysfs.
class CheckCommand : public CardLab {
protected:
    ProcessRunner::Output corvane(const std::vector<std::string>& arguments) {
        std::vector<std::string> full = {
            "netns",       "exec", card_, "env", "XDG_CONFIG_HOME=" + fakes_.folder().string(),
            CORVANE_BINARY};
        full.insert(full.end(), arguments.begin(), arguments.end());
        return ProcessRunner().run("ip", full);
    }
};

TEST_F(CheckCommand, EveryFailureIsListedAndBlocksTheStart) {
    lab_->addVethPair(card_, "cv1", device_, "cvdev1");
    lab_->run(card_, "ip address add 10.20.0.1/24 dev cv0 && ip address add 10.20.0.99/16 dev cv1");
    lab_->run(device_, "ip link set cvdev0 down");
    const pid_t holder = holdPort67();
    ASSERT_NE(holder, 0) << "the port holder did not start";
    const auto output = corvane({"check", "--interface", "cv0", "--server-ip", "10.20.0.1",
                                 "--range", "10.20.0.100-10.20.0.150", "--lease", "1h"});
    EXPECT_EQ(output.status, 1) << output.text;
    EXPECT_EQ(output.text, "Checks for serving 10.20.0.1/24 on cv0:\n"
                           "\u2717 cv0 is not a wired card.\n"
                           "\u2713 No other DHCP server has configured this card\n"
                           "\u2713 cv0 is set to 10.20.0.1/24\n"
                           "\u2717 10.20.0.0/24 overlaps 10.20.0.0/16 (cv1)\n"
                           "\u2717 " +
                               host_texts::portInUse("python3") + "\n" +
                               "\u26a0 No link: the server will start and wait for a device\n" +
                               std::string(host_texts::checklistFooter) + "\n");
}

} // namespace
} // namespace corvane
