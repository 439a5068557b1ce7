#include <QAbstractItemModelTester>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "app/gui/checklist_view.hpp"
#include "app/gui/command_dialog.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/lease_table_view.hpp"
#include "app/gui/log_model.hpp"
#include "app/model/app_model.hpp"
#include "tests/app/app_test_support.hpp"

using namespace corvane;
using namespace std::chrono_literals;
using testing::testStart;
using ID = PreflightCheck::ID;
using Status = PreflightCheck::Status;

namespace {

const PreflightCheck adapterNotSet{ID::adapterConfigured, Status::fail,
                                   "Card isn't set to 192.168.0.1/24",
                                   PreflightCheck::ConfigureAdapter{"Wired 1"}};

std::vector<LogLine> logLines(std::initializer_list<std::int64_t> ids) {
    std::vector<LogLine> lines;
    for (const auto id : ids) {
        lines.push_back({id, "line " + std::to_string(id), LogLine::Kind::other});
    }
    return lines;
}

Lease lease(std::uint8_t last, Lease::State state = Lease::State::bound,
            TimePoint expiresAt = testStart + 1h) {
    Lease lease;
    lease.mac = MACAddress(MACAddress::ByteArray{0x02, 0, 0, 0, 0, last});
    lease.ip = IPv4Address(192, 168, 0, last);
    lease.state = state;
    lease.expiresAt = expiresAt;
    return lease;
}

QString cell(const QAbstractItemModel& model, int row, int column) {
    return model.index(row, column).data().toString();
}

template <class Widget> Widget& child(QObject& parent, const char* name) {
    return *parent.findChild<Widget*>(QString::fromLatin1(name));
}

// The dashboard over a model of one wired card, en0, with the given checks; `open()` shows
// it and lets the model start up.
struct Dashboard {
    Dashboard(std::vector<PreflightCheck> checks,
              const std::function<void(AppModelEnvironment&)>& adjust)
        : model([&] {
              auto environment = testing::testEnvironment(
                  folder, clock, {testing::wiredCard("en0")}, std::move(checks), 0);
              adjust(environment);
              return environment;
          }()),
          window(model) {}
    void open() {
        window.show();
        model.bootstrap();
    }

    QTemporaryDir folder;
    testing::ManualClock clock;
    AppModel model;
    DashboardWindow window;
};

} // namespace

class GuiWidgetsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void logModelTurnsAppendsAndTrimsIntoRowChanges() {
        LogModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

        model.setLines(logLines({1, 2, 3}));
        model.setLines(logLines({1, 2, 3, 4, 5}));
        QCOMPARE(inserted.count(), 2);
        QCOMPARE(inserted.last().mid(1), (QVariantList{3, 4}));

        // The on-screen log is full: the two oldest lines go as one line arrives.
        model.setLines(logLines({3, 4, 5, 6}));
        QCOMPARE(removed.count(), 1);
        QCOMPARE(removed.last().mid(1), (QVariantList{0, 1}));
        QCOMPARE(reset.count(), 0);
        QCOMPARE(model.rowCount(), 4);
        QCOMPARE(cell(model, 0, 0), QStringLiteral("line 3"));
        QCOMPARE(cell(model, 3, 0), QStringLiteral("line 6"));

        // A new filter shows other lines altogether.
        model.setLines(logLines({4, 6}));
        QCOMPARE(reset.count(), 1);
        model.setLines({});
        QCOMPARE(model.rowCount(), 0);
    }

    void leaseTableReadsTimeLeftAndPresence_data() {
        QTest::addColumn<LeaseTableModel::Row>("row");
        QTest::addColumn<QStringList>("shown");
        // Half a second short of 90 minutes still reads 1 h 30 m: time left rounds up, so a
        // live lease never reads as nothing left.
        QTest::newRow("bound rounds up")
            << LeaseTableModel::Row{lease(100, Lease::State::bound, testStart + 5'399'500ms),
                                    PresenceState::online}
            << QStringList{"1 h 30 m", "online"};
        QTest::newRow("offer at its expiry")
            << LeaseTableModel::Row{lease(100, Lease::State::offered, testStart), std::nullopt}
            << QStringList{"expired", "\u2014"};
    }
    void leaseTableReadsTimeLeftAndPresence() {
        QFETCH(LeaseTableModel::Row, row);
        QFETCH(QStringList, shown);
        LeaseTableModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setRows({row}, testStart);
        QCOMPARE((QStringList{cell(model, 0, LeaseTableModel::leaseLeft),
                              cell(model, 0, LeaseTableModel::presence)}),
                 shown);
    }

    void dashboardRunsAFixOnlyOnceConfirmedAndOffersTheTerminalWhenItFails() {
        auto runs = std::make_shared<std::atomic<int>>(0);
        Dashboard dashboard({adapterNotSet}, [runs](AppModelEnvironment& environment) {
            environment.host.runAsAdministrator = [runs](const std::string&, const SetupCommand&) {
                ++*runs;
                throw HostSetupError("Not authorised.");
            };
        });
        dashboard.open();
        CommandDialog& dialog = dashboard.window.commandDialog();
        const auto askForTheFixAndPress = [&](const char* button) {
            QTRY_VERIFY(!dashboard.window.checklist().findChildren<QPushButton*>().isEmpty());
            dashboard.window.checklist().findChildren<QPushButton*>().first()->click();
            QTRY_VERIFY(dialog.isVisible());
            QVERIFY(dialog.commandShown().startsWith(
                QStringLiteral("Corvane will run:\n\nnmcli connection modify 'Wired 1' ")));
            child<QPushButton>(dialog, button).click();
        };

        askForTheFixAndPress("close");
        QTRY_VERIFY(!dashboard.model.pendingCommand());
        QCOMPARE(runs->load(), 0);

        askForTheFixAndPress("run");
        QTRY_VERIFY(dialog.isVisible() && dialog.isFailure());
        QCOMPARE(runs->load(), 1);
        QCOMPARE(dialog.commandShown(),
                 QStringLiteral("Not authorised.\n\nYou can run this in Terminal instead:\nsudo "
                                "nmcli connection modify 'Wired 1' ipv4.method manual "
                                "ipv4.addresses 192.168.0.1/24 && sudo nmcli connection up "
                                "'Wired 1'"));
        QVERIFY(child<QPushButton>(dialog, "run").isHidden());
        child<QPushButton>(dialog, "close").click();
        QTRY_VERIFY(!dashboard.model.failedCommand());
        QVERIFY(!dialog.isVisible());
    }
};

QTEST_MAIN(GuiWidgetsTest)

#include "gui_widgets_test.moc"
