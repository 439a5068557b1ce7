#include <condition_variable>
#include <filesystem>
#include <mutex>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/host/host_setup.hpp"
#include "core/host/host_texts.hpp"
#include "core/host/interface_monitor.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/preflight.hpp"
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
    // The holder as the checks name it: in full, as /proc/PID/exe has it, with its PID.
    static std::string heldBy(pid_t holder) {
        return std::filesystem::canonical("/usr/bin/python3").filename().string() + " (PID " +
               std::to_string(holder) + ")";
    }

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
    // Whatever speed the veth driver reports, the link is virtual.
    EXPECT_EQ(card->media, "virtual link");
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

// NetworkManager's word counts only for devices it manages by name and hardware address:
// the active profile wins, else the first profile bound to the device by name; a device
// elsewhere that shares a name (cv0 here) is left to the kernel's view.
TEST_F(CardLab, NetworkManagerProfilesApplyToTheDevicesItManages) {
    lab_->addVethPair(card_, "eth1", device_, "dv1");
    lab_->addVethPair(card_, "eth2", device_, "dv2");
    lab_->run(card_, "ip link set eth1 address 02:00:00:00:aa:01 && "
                     "ip link set eth2 address 02:00:00:00:aa:02 && "
                     "ip address add 192.168.77.1/24 dev cv0");
    fakes_.add("nmcli", R"(case "$*" in
"-t -f RUNNING general") echo running ;;
"-t -f NAME,UUID,DEVICE,ACTIVE connection show")
  printf 'Spare eth1:u1::no\nLab\\: bench:u2:eth1:yes\nLoose:u4::no\nHost profile:u5:cv0:yes\n' ;;
"-t -f GENERAL.DEVICE,GENERAL.HWADDR device show")
  printf 'GENERAL.DEVICE:eth1\nGENERAL.HWADDR:02\\:00\\:00\\:00\\:AA\\:01\n'
  printf 'GENERAL.DEVICE:eth2\nGENERAL.HWADDR:02\\:00\\:00\\:00\\:AA\\:02\n'
  printf 'GENERAL.DEVICE:cv0\nGENERAL.HWADDR:02\\:00\\:00\\:00\\:BB\\:BB\n' ;;
*"connection show uuid u1 uuid u2 uuid u4 uuid u5")
  printf 'connection.uuid:u1\nconnection.interface-name:eth1\nipv4.method:auto\nipv4.addresses:\n'
  printf 'connection.uuid:u2\nconnection.interface-name:\nipv4.method:manual\n'
  printf 'ipv4.addresses:192.168.0.1/24\n'
  printf 'connection.uuid:u4\nconnection.interface-name:eth2\nipv4.method:shared\n'
  printf 'connection.uuid:u5\nconnection.interface-name:cv0\nipv4.method:auto\n' ;;
*) exit 1 ;;
esac)");
    const NetworkLab::Entered inside(card_);
    const auto configs = Interfaces::serviceConfigs(fakes_.runner());
    using Config = Interfaces::ServiceConfig;
    const auto mask24 = IPv4Address(255, 255, 255, 0);
    EXPECT_EQ(
        configs.at("eth1"),
        (Config{"Lab: bench", NetworkCard::Manual{IPv4Address(192, 168, 0, 1), mask24}, true}));
    EXPECT_EQ(configs.at("eth2"), (Config{"Loose", NetworkCard::Other{"shared"}, true}));
    EXPECT_EQ(configs.at("cv0"),
              (Config{"cv0", NetworkCard::Manual{IPv4Address(192, 168, 77, 1), mask24}, false}));
    // Which tool sets the card up follows from this (checked through the app model).
    for (const auto& card : Interfaces::list(fakes_.runner())) {
        EXPECT_EQ(card.managedByNetworkManager, card.bsdName.starts_with("eth")) << card.bsdName;
    }
    const auto known = HostSetup::knownServiceNames(fakes_.runner());
    const auto knows = [&](const std::string& name) {
        return std::find(known.begin(), known.end(), name) != known.end();
    };
    EXPECT_TRUE(knows("Lab: bench"));
    EXPECT_TRUE(knows("cv0"));
    EXPECT_FALSE(knows("eth1")) << "a managed card is known by its profile's name only";
}

// A free and a held port 67 are read through the check command below.
TEST_F(CardLab, ProbesSeeThePeerTakeTheLinkDownAndAnUnknownCardFail) {
    {
        const NetworkLab::Entered inside(card_);
        EXPECT_TRUE(Interfaces::mediaStatus("cv0").linkUp);
    }
    lab_->run(device_, "ip link set cvdev0 down");
    const NetworkLab::Entered inside(card_);
    EXPECT_EQ(Interfaces::mediaStatus("cv0"), Interfaces::MediaStatus{});
    EXPECT_EQ(Interfaces::mediaStatus("no-such-card"), Interfaces::MediaStatus{});
    EXPECT_EQ(Preflight::port67State("no-such-card"), Port67State(Port67Error{"No such device"}));
}

// The bridge comes first in the kernel's list and takes the card's MAC, as a bridge over a
// card does; looking the card up by MAC and kind must still find the card.
TEST_F(CardLab, ThePrimaryCardCarriesTheCheapestDefaultRoute) {
    lab_->run(card_, "ip link add cvbr0 type bridge");
    lab_->addVethPair(card_, "cv1", device_, "cvdev1");
    lab_->run(card_, "ip address add 10.1.0.1/24 dev cv0 && ip address add 10.2.0.1/24 dev cv1 && "
                     "ip route add default via 10.1.0.2 dev cv0 metric 300 && "
                     "ip route add default via 10.2.0.2 dev cv1 metric 20");
    const NetworkLab::Entered inside(card_);
    EXPECT_EQ(Interfaces::primaryInterface(), "cv1");
    std::optional<MACAddress> mac;
    for (const auto& card : Interfaces::list(ProcessRunner(fakes_.folder().string()))) {
        if (card.bsdName == "cv1") {
            mac = card.mac;
        }
    }
    ASSERT_TRUE(mac);
    lab_->run(card_, "ip link set cvbr0 address " + mac->description());
    EXPECT_EQ(Interfaces::bsdName(*mac, "veth"), "cv1");
    EXPECT_EQ(Interfaces::bsdName(*mac, "bridge"), "cvbr0");
    EXPECT_EQ(Interfaces::bsdName(*mac, ""), std::nullopt);
}

TEST_F(CardLab, TheMonitorCallsBackWhenAnAddressIsAdded) {
    std::mutex mutex;
    std::condition_variable changed;
    int calls = 0;
    InterfaceMonitor monitor([&] {
        const std::lock_guard lock(mutex);
        ++calls;
        changed.notify_all();
    });
    {
        const NetworkLab::Entered inside(card_);
        ASSERT_TRUE(monitor.start());
    }
    lab_->run(card_, "ip address add 10.9.0.1/24 dev cv0");
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return calls > 0; }));
    }
    monitor.stop();
    EXPECT_FALSE(monitor.isRunning());
    const int callsAtStop = calls;
    lab_->run(card_, "ip address add 10.9.1.1/24 dev cv0");
    EXPECT_EQ(calls, callsAtStop) << "no call after stop() returned";
}

// The command itself, run inside the namespace so that it sees that namespace's sysfs.
class CheckCommand : public CardLab {
protected:
    ProcessRunner::Output corvane(const std::vector<std::string>& arguments,
                                  const std::vector<std::string>& asUser = {}) {
        std::vector<std::string> full = {"netns", "exec", card_};
        full.insert(full.end(), asUser.begin(), asUser.end());
        full.insert(full.end(),
                    {"env", "XDG_CONFIG_HOME=" + fakes_.folder().string(), CORVANE_BINARY});
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
                               host_texts::portInUse(heldBy(holder)) + "\n" +
                               "\u26a0 No link: the server will start and wait for a device\n" +
                               std::string(host_texts::checklistFooter) + "\n");
}

TEST_F(CheckCommand, AnUnsetCardShowsItsFixAndOnceSetMayStart) {
    const auto unset = corvane({"check", "--interface", "cv0", "--virtual"});
    EXPECT_EQ(unset.status, 1);
    EXPECT_NE(unset.text.find("\u2717 Card isn't set to 192.168.0.1/24\n"
                              "    To fix it, run: sudo ip address flush dev 'cv0' && sudo ip "
                              "address add 192.168.0.1/24 dev 'cv0' && sudo ip link set 'cv0' "
                              "up\n"),
              std::string::npos)
        << unset.text;

    lab_->run(card_, "ip address add 192.168.0.1/24 dev cv0");
    EXPECT_EQ(corvane({"check", "--interface", "cv0", "--virtual"}),
              (ProcessRunner::Output{
                  0, "Checks for serving 192.168.0.1/24 on cv0:\n"
                     "\u2713 Virtual Ethernet card, not this computer's internet route\n"
                     "\u2713 No other DHCP server has configured this card\n"
                     "\u2713 cv0 is set to 192.168.0.1/24\n"
                     "\u2713 No overlap with other networks\n"
                     "\u2713 Port 67 is free\n"
                     "\u2713 Link up \u00b7 virtual link\n"
                     "\u2713 No other DHCP server answers on cv0\n" +
                         std::string(host_texts::checklistFooter) + "\n"}));
    EXPECT_EQ(
        corvane({"check", "--interface", "nope0"}),
        (ProcessRunner::Output{2, "There is no network card named \"nope0\". Run \"corvane cards "
                                  "--all\" to see the name of every card.\n"}));
}

TEST_F(CheckCommand, WithoutTheCapabilityThePortCheckSaysHowToGrantIt) {
    lab_->run(card_, "ip address add 192.168.0.1/24 dev cv0");
    const auto output = corvane({"check", "--interface", "cv0", "--virtual"},
                                {"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"});
    EXPECT_EQ(output.status, 1);
    const auto expected =
        "\u2717 " + host_texts::portCannotOpen(host_texts::portNeedsCapability(CORVANE_BINARY));
    EXPECT_NE(output.text.find(expected + "\n"), std::string::npos) << output.text;
}

TEST_F(CheckCommand, CardsListsTheVirtualCardOnlyWhenAskedTo) {
    lab_->run(card_, "ip address add 192.168.0.1/24 dev cv0");
    const auto plain = corvane({"cards"});
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.text.find("cv0"), std::string::npos) << plain.text;
    const auto withVirtual = corvane({"cards", "--virtual"});
    EXPECT_EQ(withVirtual,
              (ProcessRunner::Output{
                  0, "NAME  DISPLAY NAME  KIND   LINK               ADDRESS               "
                     "METHOD                            PRIMARY\n"
                     "cv0   cv0           other  up \u00b7 virtual link  192.168.0.1 (manual)  "
                     "manual 192.168.0.1/255.255.255.0\n"}));
}

} // namespace
} // namespace corvane
