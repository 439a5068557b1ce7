#include <QTest>
#include <memory>
#include <string>
#include <vector>

#include "app/model/app_model.hpp"
#include "core/events/notice_texts.hpp"
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
        QTest::newRow("another socket failure becomes the last error")
            << "card"
            << "find interface corvane-none0 failed: No such device";
        QTest::newRow("invalid settings become the last error")
            << "settings"
            << "The server can't start with these settings: Server IP must not be";
    }
    void startFailuresNeverLeaveAServer() {
        QFETCH(QString, failure);
        QFETCH(QString, lastError);
        HeldLoopbackPort taken;
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

    void logKeepsTheNewestLines() {
        makeModel({}, {});
        for (int line = 1; line <= 5001; ++line) {
            model->appendLog("line " + std::to_string(line), LogLine::Kind::other);
        }
        QCOMPARE(model->log().size(), AppModel::logCapacity);
        QCOMPARE(model->log().front().id, 2);
        QCOMPARE(model->log().back().id, 5001);
    }
};

QTEST_GUILESS_MAIN(AppModelTest)
#include "app_model_test.moc"
