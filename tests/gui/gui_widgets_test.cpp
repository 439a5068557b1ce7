#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <atomic>
#include <thread>

#include "app/gui/checklist_view.hpp"
#include "app/gui/command_dialog.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/lease_table_view.hpp"
#include "app/gui/log_model.hpp"
#include "app/gui/notice_banner.hpp"
#include "app/gui/reservations_page.hpp"
#include "app/gui/settings_dialog.hpp"
#include "app/gui/waiting_panel.hpp"
#include "app/model/app_model.hpp"
#include "core/config/config_texts.hpp"
#include "core/config/settings_file.hpp"
#include "core/events/notice_texts.hpp"
#include "core/leases/lease_file.hpp"
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
    explicit Dashboard(std::vector<PreflightCheck> checks, std::uint16_t serverPort = 0,
                       const std::function<void(AppModelEnvironment&)>& adjust = {})
        : model([&] {
              auto environment = testing::testEnvironment(
                  folder, clock, {testing::wiredCard("en0")}, std::move(checks), 0, serverPort);
              if (adjust) {
                  adjust(environment);
              }
              return environment;
          }()),
          window(model) {}
    void open() {
        window.show();
        model.bootstrap();
    }
    std::filesystem::path file(const char* name) const {
        return std::filesystem::path(folder.path().toStdString()) / name;
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
        QTest::newRow("released early")
            << LeaseTableModel::Row{lease(100, Lease::State::released, testStart + 10min),
                                    PresenceState::offline}
            << QStringList{"released", "offline"};
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
        QCOMPARE(model.index(0, 0).data(LeaseTableModel::macRole).toString(),
                 QStringLiteral("02:00:00:00:00:64"));
    }

    void leaseTableKeepsTheSelectedClientAcrossRedraws() {
        LeaseTableView view;
        view.setRows({{lease(100), PresenceState::offline}, {lease(101), std::nullopt}}, testStart);
        view.selectMAC(QStringLiteral("02:00:00:00:00:65"));

        // The second device came online and sorts first now.
        view.setRows({{lease(101), PresenceState::online}, {lease(100), PresenceState::offline}},
                     testStart);
        QCOMPARE(view.selectedMAC(), QStringLiteral("02:00:00:00:00:65"));
    }

    void settingsSheetShowsMessagesUnderTheirAreaAndHoldsBackSave() {
        SettingsDialog sheet;
        ServerConfig custom = ServerConfig::defaultConfig();
        custom.leaseSeconds = 5400;
        custom.dns = {IPv4Address(10, 0, 0, 53)};
        sheet.setConfig(custom);
        QVERIFY(sheet.canSave());
        QCOMPARE(sheet.config(), std::optional(custom));
        QCOMPARE(sheet.rangeCountShown(), QStringLiteral("101 addresses"));

        auto& rangeEnd = child<QLineEdit>(sheet, "rangeEnd");
        rangeEnd.clear();
        QTest::keyClicks(&rangeEnd, QStringLiteral("192.168.0.109"));
        QCOMPARE(sheet.rangeCountShown(), QStringLiteral("10 addresses"));

        // Which message goes under which area is settings_form_test's; here that typing
        // reaches the form and a mistake holds back Save.
        QTest::keyClicks(&child<QLineEdit>(sheet, "dns"), QStringLiteral(", abc"));
        QCOMPARE(sheet.messagesShown(SettingsForm::Field::dns),
                 gui_texts::toQString(config_texts::dnsNotAddresses));
        QVERIFY(!sheet.canSave());
    }

    void settingsPagesKeepTheLabSettingsAndShowMistakesOnTheirPage() {
        SettingsDialog sheet;
        auto lab = ServerConfig::defaultConfig();
        lab.reservations = {
            {*MACAddress::parse("02:00:00:00:00:01"), IPv4Address(192, 168, 0, 20), "camera"}};
        lab.options = {{66, "tftp.lab"}};
        lab.nextServer = IPv4Address(192, 168, 0, 2);
        lab.bootFile = "pxelinux.0";
        sheet.setConfig(lab);
        QCOMPARE(sheet.config(), std::optional(lab));

        sheet.reservationsPage().reserve("02:00:00:00:00:02", "10.0.0.5", "");
        QVERIFY(!sheet.messagesShown(SettingsForm::Field::reservations).isEmpty());
        QVERIFY(!sheet.canSave());
        sheet.reservationsPage().reserve("02:00:00:00:00:02", "192.168.0.21", "");
        QCOMPARE(sheet.messagesShown(SettingsForm::Field::reservations), QString());
        QCOMPARE(sheet.config()->reservations.size(), 2u);

        QTest::keyClicks(&child<QLineEdit>(sheet, "nextServer"), QStringLiteral("x"));
        QVERIFY(!sheet.messagesShown(SettingsForm::Field::boot).isEmpty());
        QVERIFY(!sheet.canSave());
    }

    void checklistOffersTheFixAsAButtonWhileStopped() {
        ChecklistView checklist;
        checklist.setChecks({{ID::wired, Status::pass, "ok", {}}, adapterNotSet});
        // Pressing the button is checked through the dashboard below.
        QCOMPARE(checklist.findChildren<QPushButton*>().size(), 1);
        checklist.setFixesEnabled(false);
        QVERIFY(!checklist.findChildren<QPushButton*>().first()->isEnabled());
    }

    void dashboardForgetsALeaseOnlyOnceConfirmed() {
        Dashboard dashboard({});
        const LeaseFile file(dashboard.file("leases.json"));
        file.save(LeaseTable({lease(100), lease(101)}, {}));
        dashboard.open();
        auto& window = dashboard.window;
        QTRY_COMPARE(window.leaseTable().model().rowCount(), 2);

        const auto forgetAnd = [&](QMessageBox::ButtonRole role) {
            window.leaseTable().selectMAC(QStringLiteral("02:00:00:00:00:65"));
            child<QPushButton>(window.leaseTable(), "forgetLease").click();
            QTRY_VERIFY(window.leaseEditConfirmation().isVisible());
            QCOMPARE(window.leaseEditConfirmation().text(), QStringLiteral("Forget this lease?"));
            for (auto* button : window.leaseEditConfirmation().buttons()) {
                if (window.leaseEditConfirmation().buttonRole(button) == role) {
                    button->click();
                }
            }
        };

        forgetAnd(QMessageBox::RejectRole);
        QTRY_VERIFY(!window.leaseEditConfirmation().isVisible());
        QVERIFY(!dashboard.model.confirmForget());
        QCOMPARE(file.load(testStart).table.leases().size(), std::size_t(2));

        forgetAnd(QMessageBox::AcceptRole);
        QTRY_COMPARE(window.leaseTable().model().rowCount(), 1);
        QCOMPARE(file.load(testStart).table.leases(), std::vector<Lease>{lease(100)});
        QCOMPARE(window.leaseTable().model().rows().front().lease.mac, lease(100).mac);
    }

    void dashboardShowsAFailedStartAsACriticalBannerUntilDismissed() {
        const testing::HeldLoopbackPort taken;
        Dashboard dashboard({{ID::wired, Status::pass, "ok", {}}}, taken.port());
        dashboard.open();
        auto& window = dashboard.window;
        QTRY_VERIFY(window.startButton().isEnabled());
        window.startButton().click();

        QTRY_COMPARE(window.banners().size(), std::size_t(1));
        NoticeBanner& banner = *window.banners().front();
        QVERIFY(banner.isCritical());
        QCOMPARE(banner.message(), QString::fromStdString(notice_texts::portInUse("dnsmasq")));
        child<QPushButton>(banner, "dismiss").click();
        QTRY_VERIFY(window.banners().empty());
        QVERIFY(dashboard.model.state().notices.empty());
    }

    void dashboardSavesSettingsOnlyOnSave() {
        Dashboard dashboard({});
        dashboard.open();
        auto& window = dashboard.window;
        QTRY_COMPARE(window.waitingPanel().nextAddressText(),
                     QStringLiteral("192.168.0.100 is ready to hand out"));

        SettingsDialog& sheet = window.settingsDialog();
        auto& rangeStart = child<QLineEdit>(sheet, "rangeStart");
        const auto editRangeStartAndPress = [&](QDialogButtonBox::StandardButton which) {
            for (auto* button : window.findChildren<QPushButton*>()) {
                if (button->text() == gui_texts::settingsButton) {
                    button->click();
                }
            }
            QTRY_VERIFY(sheet.isVisible());
            QCOMPARE(rangeStart.text(), QStringLiteral("192.168.0.100"));
            rangeStart.selectAll();
            QTest::keyClicks(&rangeStart, QStringLiteral("192.168.0.150"));
            sheet.findChild<QDialogButtonBox*>()->button(which)->click();
            QTRY_VERIFY(!sheet.isVisible());
            QVERIFY(!dashboard.model.settingsOpen());
        };

        editRangeStartAndPress(QDialogButtonBox::Cancel);
        QCOMPARE(dashboard.model.config(), ServerConfig::defaultConfig());

        editRangeStartAndPress(QDialogButtonBox::Save);
        QCOMPARE(dashboard.model.config().rangeStart, IPv4Address(192, 168, 0, 150));
        QCOMPARE(SettingsFile(dashboard.file("settings.json")).serverConfig(),
                 dashboard.model.config());
        QTRY_COMPARE(window.waitingPanel().nextAddressText(),
                     QStringLiteral("192.168.0.150 is ready to hand out"));
    }

    // The run is visible while it lasts; its failure is reported once, in the dialog, with
    // the bare command for a terminal.
    void dashboardRunsAFixOnlyOnceConfirmedAndOffersTheTerminalWhenItFails() {
        auto runs = std::make_shared<std::atomic<int>>(0);
        auto release = std::make_shared<std::atomic<bool>>(false);
        Dashboard dashboard({adapterNotSet}, 0, [runs, release](AppModelEnvironment& environment) {
            environment.host.runAsAdministrator = [runs, release](const std::string&,
                                                                  const SetupCommand&) {
                ++*runs;
                for (int wait = 0; wait < 500 && !*release; ++wait) {
                    std::this_thread::sleep_for(10ms);
                }
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
        QTRY_VERIFY(dialog.isVisible() && dialog.isRunning());
        QVERIFY(!child<QPushButton>(dialog, "run").isEnabled());
        *release = true;
        QTRY_VERIFY(dialog.isVisible() && dialog.isFailure());
        QCOMPARE(runs->load(), 1);
        const QString bare = QStringLiteral("nmcli connection modify 'Wired 1' ipv4.method manual "
                                            "ipv4.addresses 192.168.0.1/24 && nmcli connection "
                                            "up 'Wired 1'");
        QCOMPARE(dialog.commandShown(),
                 QStringLiteral("Not authorised.\n\nYou can run this in Terminal instead:\n") +
                     bare);
        child<QPushButton>(dialog, "copyTerminalCommand").click();
        QCOMPARE(QGuiApplication::clipboard()->text(), bare);
        QVERIFY(dashboard.window.banners().empty());
        QVERIFY(child<QPushButton>(dialog, "run").isHidden());
        child<QPushButton>(dialog, "close").click();
        QTRY_VERIFY(!dashboard.model.failedCommand());
        QVERIFY(!dialog.isVisible());
        QVERIFY(dashboard.window.banners().empty());
    }
};

QTEST_MAIN(GuiWidgetsTest)

#include "gui_widgets_test.moc"
