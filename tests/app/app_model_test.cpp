#include <QElapsedTimer>
#include <QTest>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app/model/app_model.hpp"
#include "core/events/notice_texts.hpp"
#include "core/host/host_setup_error.hpp"
#include "tests/app/app_test_support.hpp"

namespace corvane {

using namespace corvane::testing;

using Status = PreflightCheck::Status;
using ID = PreflightCheck::ID;
using Checks = std::vector<PreflightCheck>;
using Cards = std::vector<NetworkCard>;

namespace {

IPv4Address ip(const char* text) {
    return IPv4Address::parse(text).value();
}

Lease lease(std::uint8_t device, const char* address, TimePoint expiresAt) {
    Lease lease;
    lease.mac = MACAddress(MACAddress::ByteArray{0x02, 0, 0x5e, 0x10, 0, device});
    lease.ip = ip(address);
    lease.state = Lease::State::bound;
    lease.expiresAt = expiresAt;
    lease.firstSeen = lease.lastSeen = testStart;
    return lease;
}

const Checks passing{check(ID::wired, Status::pass), check(ID::port67, Status::warn)};

std::string tcpdumpOn(const char* card) {
    return std::string("sudo tcpdump -i ") + card + " -n -e 'udp port 67 or udp port 68'";
}

} // namespace
} // namespace corvane

using namespace corvane;
using namespace corvane::testing;

class AppModelTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<HeldLoopbackPort> clientPort;
    std::unique_ptr<AppModel> model;

    // A ready model whose server, once started, runs on loopback.
    void makeModel(Cards cards, Checks checks,
                   const std::function<void(AppModelEnvironment&)>& adjust = {}) {
        auto environment = testEnvironment(*folder, *clock, std::move(cards), std::move(checks),
                                           clientPort->port());
        if (adjust) {
            adjust(environment);
        }
        model = std::make_unique<AppModel>(std::move(environment));
        model->bootstrap();
        QTRY_COMPARE_WITH_TIMEOUT(model->phase(), AppModel::Phase::ready, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!model->isChecking(), 5000);
    }

    void saveServerConfig(const ServerConfig& config) {
        SettingsFile((folder->path() + "/settings.json").toStdString()).setServerConfig(config);
    }

private Q_SLOTS:
    void init() {
        folder = std::make_unique<QTemporaryDir>();
        clock = std::make_unique<ManualClock>();
        clientPort = std::make_unique<HeldLoopbackPort>();
    }
    void cleanup() { model.reset(); }

    void startIsRefusedUntilEveryConditionHolds_data() {
        QTest::addColumn<Cards>("cards");
        QTest::addColumn<Checks>("checks");
        QTest::newRow("no card") << Cards{} << passing;
        QTest::newRow("no checks yet") << Cards{wiredCard("eth0")} << Checks{};
        QTest::newRow("a check fails")
            << Cards{wiredCard("eth0")}
            << Checks{check(ID::wired, Status::pass), check(ID::link, Status::fail)};
    }
    void startIsRefusedUntilEveryConditionHolds() {
        QFETCH(Cards, cards);
        QFETCH(Checks, checks);
        makeModel(cards, checks);
        QVERIFY(!model->canStart());
        model->start();
        QVERIFY(!model->isRunning());
        QVERIFY(!model->state().serverInterface);
    }

    void startFailuresNeverLeaveAServer_data() {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("lastError");
        QTest::newRow("port in use raises a notice naming the holder") << "port"
                                                                       << "";
        QTest::newRow("another socket failure is the last error, word for word")
            << "card"
            << "find interface corvane-none0 failed: No such device";
        QTest::newRow("a lease file another server holds becomes the last error")
            << "locked"
            << "Another Corvane server is using the lease file";
        QTest::newRow("invalid settings become the last error")
            << "settings"
            << "The server can't start with these settings: Server IP must not be";
    }
    void startFailuresNeverLeaveAServer() {
        QFETCH(QString, failure);
        QFETCH(QString, lastError);
        HeldLoopbackPort taken;
        const LeaseFileLock otherServer(
            folder->filePath(failure == "locked" ? "leases.json" : "unused.json").toStdString());
        if (failure == "settings") {
            auto config = ServerConfig::defaultConfig();
            config.serverIP = config.rangeStart;
            saveServerConfig(config);
        }
        makeModel({wiredCard("eth0")}, passing, [&](AppModelEnvironment& environment) {
            environment.transportFor = [&, failure](const NetworkCard&) {
                return failure == "card"
                           ? TransportMode::interface("corvane-none0")
                           : TransportMode::loopback(taken.port(), clientPort->port());
            };
        });
        model->start();
        QVERIFY(!model->isRunning());
        QVERIFY(model->canStart());
        QVERIFY2(QString::fromStdString(model->lastError().value_or("")).contains(lastError),
                 model->lastError().value_or("").c_str());
        if (failure == "card") {
            // The error's own text, not wrapped in a sentence of the model's.
            QVERIFY(QString::fromStdString(*model->lastError()).startsWith(lastError));
        }
        QCOMPARE(model->lastError().has_value(), !lastError.isEmpty());
        if (failure == "port") {
            QTRY_VERIFY_WITH_TIMEOUT(model->state().notices.contains(NoticeKind::portInUse), 5000);
            QCOMPARE(model->state().notices.at(NoticeKind::portInUse).message,
                     notice_texts::portInUse("dnsmasq"));
        }
    }

    void runIsLoggedFromStartToStopAndRefusesASecondStart() {
        makeModel({wiredCard("eth0")}, passing);
        QVERIFY(model->canStart());
        model->start();
        QVERIFY(model->isRunning());
        QVERIFY(!model->canStart());
        const auto startedAt = model->startedAt();
        clock->advance(std::chrono::seconds{5});
        model->start();
        QCOMPARE(model->startedAt(), startedAt);
        QTRY_VERIFY_WITH_TIMEOUT(!model->log().empty(), 5000);
        QVERIFY(QString::fromStdString(model->log().front().text).contains("START"));
        model->stop();
        QVERIFY(!model->isRunning());
        QVERIFY(!model->startedAt());
        QVERIFY(QString::fromStdString(model->log().back().text).contains("server stopped"));
        model.reset();
        QCOMPARE(QDir(folder->filePath("logs")).entryList(QDir::Files).size(), 1);
    }

    void waitingHintShowsAfterAMinuteWithoutPackets() {
        makeModel({wiredCard("eth0")}, passing);
        model->start();
        clock->advance(std::chrono::seconds{60});
        QVERIFY(!model->showsWaitingHint(clock->now()));
        clock->advance(std::chrono::seconds{1});
        QVERIFY(model->showsWaitingHint(clock->now()));
        model->handle(ServerEvent::Received{PacketSummary{}});
        QVERIFY(!model->showsWaitingHint(clock->now()));
        clock->advance(std::chrono::minutes{10});
        QVERIFY(!model->showsWaitingHint(clock->now()));

        // A new run waits its own minute.
        model->stop();
        QVERIFY(!model->showsWaitingHint(clock->now()));
        model->start();
        clock->advance(std::chrono::seconds{61});
        QVERIFY(model->showsWaitingHint(clock->now()));
    }

    void nextAddressSkipsTheServerAndHeldAddresses() {
        auto config = ServerConfig::defaultConfig();
        config.serverIP = ip("192.168.0.100");
        saveServerConfig(config);
        makeModel({}, {});
        QCOMPARE(model->nextAddress(), std::optional(ip("192.168.0.101")));
        // An expired lease gives its address back; a held one does not.
        model->handle(ServerEvent::LeaseChanged{lease(1, "192.168.0.101", testStart)});
        QCOMPARE(model->nextAddress(), std::optional(ip("192.168.0.101")));
        model->handle(ServerEvent::LeaseChanged{
            lease(2, "192.168.0.101", testStart + std::chrono::hours{1})});
        QCOMPARE(model->nextAddress(), std::optional(ip("192.168.0.102")));
    }

    // The chosen card's command shows on the dashboard's waiting panel.
    void tcpdumpCommandNamesTheServedCardElseAny() {
        makeModel({}, {});
        QCOMPARE(model->tcpdumpCommand().toStdString(), tcpdumpOn("any"));
        model->handle(ServerEvent::Started{"veth-lab", ServerConfig::defaultConfig()});
        QCOMPARE(model->tcpdumpCommand().toStdString(), tcpdumpOn("veth-lab"));
    }

    void logKeepsTheNewestLines() {
        makeModel({}, {});
        for (int line = 1; line <= 5001; ++line) {
            model->appendLog("line " + std::to_string(line), LogLine::Kind::other);
        }
        QCOMPARE(model->log().size(), AppModel::logCapacity);
        QCOMPARE(model->log().front().id, 2);
        QCOMPARE(model->log().back().id, 5001);
    }

    void filterMatchesIgnoringCase_data() {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("shown");
        QTest::newRow("empty shows all") << "" << 4;
        QTest::newRow("lower case finds upper case") << "ack" << 2;
        QTest::newRow("address") << "192.168.0.100" << 1;
        QTest::newRow("no match") << "nak" << 0;
    }
    void filterMatchesIgnoringCase() {
        QFETCH(QString, filter);
        QFETCH(int, shown);
        makeModel({}, {});
        for (const char* text : {"RX DISCOVER 02:00:5e:00:00:01", "TX ACK 192.168.0.100",
                                 "TX OFFER 192.168.0.101", "INFO Ack later"}) {
            model->appendLog(text, LogLine::Kind::other);
        }
        model->setLogFilter(filter);
        QCOMPARE(static_cast<int>(model->visibleLog().size()), shown);
    }

    void pauseFreezesTheShownLines() {
        makeModel({}, {});
        model->handle(ServerEvent::Info{"one"});
        model->setLogPaused(true);
        const std::vector<LogLine> frozen = model->visibleLog();
        model->handle(ServerEvent::Info{"two"});
        QVERIFY(model->visibleLog() == frozen);
        QCOMPARE(model->log().size(), std::size_t{2});
        model->setLogPaused(false);
        QCOMPARE(model->visibleLog().size(), std::size_t{2});
    }

    void administratorCommandOutcomes_data() {
        QTest::addColumn<int>("outcome");
        QTest::addColumn<bool>("keptForTerminal");
        QTest::addColumn<QString>("logged");
        QTest::newRow("success") << 0 << false << "ADAPTER      ran nmcli";
        QTest::newRow("failure") << 1 << true << "ADAPTER      failed: nmcli said no";
        QTest::newRow("dismissed prompt") << 2 << false << "ADAPTER      cancelled:";
    }
    void administratorCommandOutcomes() {
        QFETCH(int, outcome);
        QFETCH(bool, keptForTerminal);
        QFETCH(QString, logged);
        makeModel({wiredCard("eth7", 7)}, passing, [outcome](AppModelEnvironment& environment) {
            environment.host.runAsAdministrator = [outcome](const std::string&,
                                                            const SetupCommand&) {
                if (outcome > 0) {
                    throw HostSetupError(outcome == 1 ? "nmcli said no" : "dismissed",
                                         outcome == 2);
                }
            };
        });
        model->requestConfigureAdapter();
        QTRY_VERIFY_WITH_TIMEOUT(model->pendingCommand(), 5000);
        QCOMPARE(model->pendingCommand()->title,
                 std::string("Configure Wired 7 as 192.168.0.1/24?"));
        model->run(*model->pendingCommand());
        QVERIFY(!model->pendingCommand());
        QTRY_VERIFY_WITH_TIMEOUT(!model->isCommandRunning(), 5000);
        QVERIFY(QString::fromStdString(model->log().back().text).contains(logged));
        QCOMPARE(model->failedCommand().has_value(), keptForTerminal);
        QCOMPARE(model->lastError().has_value(), keptForTerminal);
        model->dismissFailedCommand();
        QVERIFY(!model->lastError());
    }

    // The command takes the form of whoever manages the chosen card: a card NetworkManager
    // leaves alone is set with iproute2, and has no DHCP to hand back to.
    void administratorCommandFollowsTheCardsManager() {
        auto unmanaged = wiredCard("eth7", 7);
        unmanaged.managedByNetworkManager = false;
        unmanaged.serviceName.reset();
        for (const auto& card : {wiredCard("eth7", 7), unmanaged}) {
            makeModel({card}, passing);
            model->requestConfigureAdapter();
            QVERIFY(model->pendingCommand());
            const auto& steps = model->pendingCommand()->command.steps;
            QCOMPARE(steps.front().rfind(card.managedByNetworkManager ? "nmcli " : "ip ", 0),
                     std::size_t{0});
            // Only the iproute2 form empties the card first, and is flagged for a warning.
            QCOMPARE(model->pendingCommand()->removesAddresses(), !card.managedByNetworkManager);
            model->requestRestoreDHCP();
            QCOMPARE(model->lastError().has_value(), !card.managedByNetworkManager);
        }
    }

    void clearingExpiredLeasesWhileStoppedChangesTheLeaseFile() {
        const LeaseFile file((folder->path() + "/leases.json").toStdString());
        const auto active = lease(1, "192.168.0.100", testStart + std::chrono::hours{1});
        file.save(LeaseTable({active, lease(2, "192.168.0.101", testStart)}, {}));
        makeModel({}, {});
        QCOMPARE(model->state().leases.size(), std::size_t{2});

        model->requestClearExpired();
        model->confirmClearExpired();
        QCOMPARE(file.load(clock->now()).table.leases(), std::vector<Lease>{active});
        QCOMPARE(model->state().leases.size(), std::size_t{1});
        // Forgetting a lease is checked through the dashboard, down to the file.
    }

    // A listing that misses its time limit neither empties the list nor is lost: the
    // previous list stays, the late answer counts, and a retry follows.
    void slowCardListingsAreRetriedAndKeepThePreviousList() {
        auto calls = std::make_shared<std::atomic<int>>(0);
        // The first listing (at launch) and the third are slow; the others answer at once.
        const auto adjust = [calls](AppModelEnvironment& environment) {
            environment.hostQueryTimeLimit = std::chrono::milliseconds{150};
            environment.cardListRetryDelay = std::chrono::milliseconds{50};
            environment.host.listCards = [calls] {
                const int call = ++*calls;
                if (call == 1 || call == 3) {
                    std::this_thread::sleep_for(std::chrono::milliseconds{600});
                }
                return call < 3 ? Cards{wiredCard("eth0")}
                                : Cards{wiredCard("eth0"), wiredCard("eth1", 2)};
            };
        };
        makeModel({}, passing, adjust);
        // Launch did not wait for the slow listing, and its retry filled the list.
        QTRY_COMPARE_WITH_TIMEOUT(model->cards().size(), std::size_t{1}, 5000);
        QCOMPARE(model->selectedCardID(), std::optional<std::string>("eth0"));
        QVERIFY(calls->load() >= 2);

        // A slow refresh keeps what is shown until a newer list arrives.
        model->refreshCards();
        QTest::qWait(200);
        QVERIFY(!model->cards().empty());
        QTRY_COMPARE_WITH_TIMEOUT(model->cards().size(), std::size_t{2}, 5000);
    }

    void chosenCardIsRememberedByItsMAC() {
        const Cards cards{wiredCard("eth1", 1), wiredCard("eth2", 2)};
        makeModel(cards, passing);
        QCOMPARE(model->selectedCardID(), std::optional<std::string>("eth1"));
        model->selectCard("eth2");
        makeModel(cards, passing);
        QCOMPARE(model->selectedCardID(), std::optional<std::string>("eth2"));
    }

    void launchScreenStaysForTheMinimum() {
        QElapsedTimer sinceConstruction;
        sinceConstruction.start();
        makeModel({}, {}, [](AppModelEnvironment& environment) {
            environment.launchMinimum = std::chrono::milliseconds{300};
        });
        QVERIFY(sinceConstruction.elapsed() >= 300);
    }
};

QTEST_GUILESS_MAIN(AppModelTest)
#include "app_model_test.moc"
