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

#include "app/gui/checklist_view.hpp"
#include "app/gui/command_dialog.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/lease_table_view.hpp"
#include "app/gui/log_model.hpp"
#include "app/gui/notice_banner.hpp"
#include "app/gui/settings_dialog.hpp"
#include "app/gui/waiting_panel.hpp"
#include "app/model/app_model.hpp"
#include "core/config/config_texts.hpp"
#include "core/config/settings_file.hpp"
#include "core/events/notice_texts.hpp"
#include "core/leases/lease_file.hpp"
#include "tests/gui/gui_test_environment.hpp"

using namespace corvane;
using namespace std::chrono_literals;

namespace {

std::vector<LogLine> logLines(std::initializer_list<std::int64_t> ids) {
    std::vector<LogLine> lines;
    for (const auto id : ids) {
        lines.push_back({id, "line " + std::to_string(id), LogLine::Kind::other});
    }
    return lines;
}

Lease lease(std::uint8_t last, Lease::State state, TimePoint expiresAt) {
    Lease lease;
    lease.mac = MACAddress(MACAddress::ByteArray{0x02, 0, 0, 0, 0, last});
    lease.ip = IPv4Address(192, 168, 0, last);
    lease.state = state;
    lease.expiresAt = expiresAt;
    return lease;
}

// Configure lab0 the way the iproute2 fallback does: two steps that must stop at the first
// failure, so the terminal form needs sudo before each.
PendingCommand configureLab0() {
    return {
        7, "Configure lab0 as 192.168.0.1/24?",
        SetupCommand{{"ip address flush dev 'lab0'", "ip address add 192.168.0.1/24 dev 'lab0'"}},
        "lab0"};
}

QPushButton* buttonLabelled(QWidget& parent, const QString& text) {
    for (auto* button : parent.findChildren<QPushButton*>()) {
        if (button->text() == text) {
            return button;
        }
    }
    return nullptr;
}

QString cell(const QAbstractItemModel& model, int row, int column) {
    return model.index(row, column).data().toString();
}

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
        QCOMPARE(inserted.last().at(1).toInt(), 3);
        QCOMPARE(inserted.last().at(2).toInt(), 4);

        // The on-screen log is full: the two oldest lines go as one line arrives.
        model.setLines(logLines({3, 4, 5, 6}));
        QCOMPARE(removed.count(), 1);
        QCOMPARE(removed.last().at(1).toInt(), 0);
        QCOMPARE(removed.last().at(2).toInt(), 1);
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
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("millisecondsLeft");
        QTest::addColumn<int>("presence");
        QTest::addColumn<QString>("leaseLeft");
        QTest::addColumn<QString>("presenceShown");
        const int none = -1;
        // A lease half a second short of 90 minutes still reads 1 h 30 m: time left rounds
        // up, so a live lease never reads as nothing left.
        QTest::newRow("bound rounds up")
            << int(Lease::State::bound) << 5'399'500 << int(PresenceState::online) << "1 h 30 m"
            << "online";
        QTest::newRow("offer at its expiry") << int(Lease::State::offered) << 0 << none << "expired"
                                             << "\u2014";
        QTest::newRow("released early")
            << int(Lease::State::released) << 600'000 << int(PresenceState::offline) << "released"
            << "offline";
    }

    void leaseTableReadsTimeLeftAndPresence() {
        QFETCH(int, state);
        QFETCH(int, millisecondsLeft);
        QFETCH(int, presence);
        QFETCH(QString, leaseLeft);
        QFETCH(QString, presenceShown);
        LeaseTableModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const TimePoint now = testing::screensNow;
        LeaseTableModel::Row row{
            lease(100, Lease::State(state), now + std::chrono::milliseconds(millisecondsLeft)),
            presence < 0 ? std::nullopt : std::optional(PresenceState(presence))};
        model.setRows({row}, now);
        QCOMPARE(cell(model, 0, LeaseTableModel::leaseLeft), leaseLeft);
        QCOMPARE(cell(model, 0, LeaseTableModel::presence), presenceShown);
        QCOMPARE(model.index(0, 0).data(LeaseTableModel::macRole).toString(),
                 QStringLiteral("02:00:00:00:00:64"));
    }

    void leaseTableKeepsTheSelectedClientAcrossRedraws() {
        LeaseTableView view;
        const TimePoint now = testing::screensNow;
        const auto first = lease(100, Lease::State::bound, now + 1h);
        const auto second = lease(101, Lease::State::bound, now + 1h);
        view.setRows({{first, PresenceState::offline}, {second, std::nullopt}}, now);
        view.selectMAC(QStringLiteral("02:00:00:00:00:65"));

        // The second device came online and sorts first now.
        view.setRows({{second, PresenceState::online}, {first, PresenceState::offline}}, now);
        QCOMPARE(view.selectedMAC(), QStringLiteral("02:00:00:00:00:65"));
        QSignalSpy forget(&view, &LeaseTableView::forgetRequested);
        view.findChild<QPushButton*>(QStringLiteral("forgetLease"))->click();
        QCOMPARE(forget.count(), 1);
        QCOMPARE(forget.first().first().toString(), QStringLiteral("02:00:00:00:00:65"));
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

        auto* rangeEnd = sheet.findChild<QLineEdit*>(QStringLiteral("rangeEnd"));
        rangeEnd->clear();
        QTest::keyClicks(rangeEnd, QStringLiteral("192.168.0.109"));
        QCOMPARE(sheet.rangeCountShown(), QStringLiteral("10 addresses"));

        QTest::keyClicks(sheet.findChild<QLineEdit*>(QStringLiteral("serverIP")),
                         QStringLiteral(".5"));
        auto* dns = sheet.findChild<QLineEdit*>(QStringLiteral("dns"));
        QTest::keyClicks(dns, QStringLiteral(", abc"));
        QCOMPARE(sheet.messagesShown(SettingsForm::Field::server),
                 gui_texts::toQString(config_texts::serverIPNotAnAddress));
        QCOMPARE(sheet.messagesShown(SettingsForm::Field::dns),
                 gui_texts::toQString(config_texts::dnsNotAddresses));
        QCOMPARE(sheet.messagesShown(SettingsForm::Field::range), QString());
        QVERIFY(!sheet.canSave());

        // Rules that need the whole configuration land under their own area too.
        SettingsForm form(ServerConfig::defaultConfig());
        form.prefix = "31";
        form.leasePreset = LeasePreset::custom;
        form.customLease = "45s";
        sheet.setForm(form);
        QCOMPARE(sheet.messagesShown(SettingsForm::Field::server),
                 QString::fromStdString(config_texts::prefixOutOfBounds(31)));
        QCOMPARE(sheet.messagesShown(SettingsForm::Field::dns), QString());
        QVERIFY(!sheet.canSave());
    }

    void commandDialogShowsTheCommandAndItsTerminalForm() {
        CommandDialog dialog;
        const PendingCommand command = configureLab0();
        const QString terminal =
            QStringLiteral("sudo ip address flush dev 'lab0' && sudo ip address add "
                           "192.168.0.1/24 dev 'lab0'");
        dialog.showConfirmation(command);
        QCOMPARE(dialog.commandShown(),
                 QStringLiteral("Corvane will run:\n\nip address flush dev 'lab0' && ip address "
                                "add 192.168.0.1/24 dev 'lab0'"));
        dialog.findChild<QPushButton*>(QStringLiteral("copyTerminalCommand"))->click();
        QCOMPARE(QGuiApplication::clipboard()->text(), terminal);

        QSignalSpy run(&dialog, &CommandDialog::runRequested);
        auto* runButton = dialog.findChild<QPushButton*>(QStringLiteral("run"));
        runButton->click();
        QCOMPARE(run.count(), 1);
        QCOMPARE(run.first().first().value<PendingCommand>(), command);
        dialog.setRunning(true);
        QVERIFY(!runButton->isEnabled());

        dialog.showFailure(command, QStringLiteral("The command failed."));
        QCOMPARE(dialog.commandShown(), QStringLiteral("The command failed.\n\nYou can run this "
                                                       "in Terminal instead:\n") +
                                            terminal);
        QVERIFY(runButton->isHidden());
    }

    void checklistOffersTheFixAsAButtonWhileStopped() {
        ChecklistView checklist;
        checklist.setChecks(
            {{PreflightCheck::ID::wired, PreflightCheck::Status::pass, "ok", {}},
             {PreflightCheck::ID::adapterConfigured, PreflightCheck::Status::fail,
              "Card isn't set to 192.168.0.1/24", PreflightCheck::ConfigureAdapter{"Wired 1"}}});
        const auto buttons = checklist.findChildren<QPushButton*>();
        QCOMPARE(buttons.size(), 1);
        QSignalSpy requested(&checklist, &ChecklistView::configureAdapterRequested);
        buttons.first()->click();
        QCOMPARE(requested.count(), 1);
        QCOMPARE(requested.first().first().toString(), QStringLiteral("Wired 1"));

        checklist.setFixesEnabled(false);
        QVERIFY(!checklist.findChildren<QPushButton*>().first()->isEnabled());
    }

    void dashboardForgetsALeaseOnlyOnceConfirmed() {
        QTemporaryDir folder;
        const auto root = std::filesystem::path(folder.path().toStdString());
        const auto kept = lease(100, Lease::State::bound, testing::screensNow + 1h);
        const auto forgotten = lease(101, Lease::State::bound, testing::screensNow + 1h);
        LeaseFile(root / "leases.json").save(LeaseTable({kept, forgotten}, {}));
        AppModel model(testing::screensEnvironment(folder, {testing::wiredTestCard("en0")}, {}));
        DashboardWindow window(model);
        window.show();
        model.bootstrap();
        QTRY_COMPARE(window.leaseTable().model().rowCount(), 2);

        const auto askToForget = [&] {
            window.leaseTable().selectMAC(QStringLiteral("02:00:00:00:00:65"));
            window.leaseTable().findChild<QPushButton*>(QStringLiteral("forgetLease"))->click();
            QTRY_VERIFY(window.leaseEditConfirmation().isVisible());
            QCOMPARE(window.leaseEditConfirmation().text(), QStringLiteral("Forget this lease?"));
        };
        const auto press = [&](QMessageBox::ButtonRole role) {
            for (auto* button : window.leaseEditConfirmation().buttons()) {
                if (window.leaseEditConfirmation().buttonRole(button) == role) {
                    button->click();
                    return;
                }
            }
            QFAIL("the confirmation has no such button");
        };
        const auto leasesOnFile = [&] {
            return LeaseFile(root / "leases.json").load(testing::screensNow).table.leases().size();
        };

        askToForget();
        press(QMessageBox::RejectRole);
        QTRY_VERIFY(!window.leaseEditConfirmation().isVisible());
        QVERIFY(!model.confirmForget());
        QCOMPARE(leasesOnFile(), std::size_t(2));

        askToForget();
        press(QMessageBox::AcceptRole);
        QTRY_COMPARE(window.leaseTable().model().rowCount(), 1);
        QCOMPARE(leasesOnFile(), std::size_t(1));
        QCOMPARE(window.leaseTable().model().rows().front().lease.mac, kept.mac);
    }

    void dashboardShowsAFailedStartAsACriticalBannerUntilDismissed() {
        QTemporaryDir folder;
        const testing::HeldLoopbackPort taken;
        AppModel model(testing::screensEnvironment(
            folder, {testing::wiredTestCard("en0")},
            {{PreflightCheck::ID::wired, PreflightCheck::Status::pass, "ok", {}}}, taken.port()));
        DashboardWindow window(model);
        window.show();
        model.bootstrap();
        QTRY_VERIFY(window.startButton().isEnabled());
        window.startButton().click();

        QTRY_COMPARE(window.banners().size(), std::size_t(1));
        NoticeBanner& banner = *window.banners().front();
        QVERIFY(banner.isCritical());
        QCOMPARE(banner.message(), QString::fromStdString(notice_texts::portInUse("dnsmasq")));
        banner.findChild<QPushButton*>(QStringLiteral("dismiss"))->click();
        QTRY_VERIFY(window.banners().empty());
        QVERIFY(model.state().notices.empty());
    }

    void dashboardSavesSettingsOnlyOnSave() {
        QTemporaryDir folder;
        const auto environment =
            testing::screensEnvironment(folder, {testing::wiredTestCard("en0")}, {});
        const SettingsFile settings(environment.settingsPath);
        AppModel model(environment);
        DashboardWindow window(model);
        window.show();
        model.bootstrap();
        QTRY_COMPARE(window.waitingPanel().tcpdumpCommand(),
                     QStringLiteral("sudo tcpdump -i en0 -n -e 'udp port 67 or udp port 68'"));
        QCOMPARE(window.waitingPanel().nextAddressText(),
                 QStringLiteral("192.168.0.100 is ready to hand out"));

        SettingsDialog& sheet = window.settingsDialog();
        auto* rangeStart = sheet.findChild<QLineEdit*>(QStringLiteral("rangeStart"));
        const auto editRangeStart = [&] {
            buttonLabelled(window, gui_texts::settingsButton)->click();
            QTRY_VERIFY(sheet.isVisible());
            QCOMPARE(rangeStart->text(), QStringLiteral("192.168.0.100"));
            rangeStart->selectAll();
            QTest::keyClicks(rangeStart, QStringLiteral("192.168.0.150"));
        };
        const auto press = [&](QDialogButtonBox::StandardButton which) {
            sheet.findChild<QDialogButtonBox*>()->button(which)->click();
            QTRY_VERIFY(!sheet.isVisible());
            QVERIFY(!model.settingsOpen());
        };

        editRangeStart();
        press(QDialogButtonBox::Cancel);
        QCOMPARE(model.config(), ServerConfig::defaultConfig());

        editRangeStart();
        press(QDialogButtonBox::Save);
        QCOMPARE(model.config().rangeStart, IPv4Address(192, 168, 0, 150));
        QCOMPARE(settings.serverConfig(), model.config());
        QTRY_COMPARE(window.waitingPanel().nextAddressText(),
                     QStringLiteral("192.168.0.150 is ready to hand out"));
    }

    void dashboardRunsAFixOnlyOnceConfirmedAndOffersTheTerminalWhenItFails() {
        QTemporaryDir folder;
        auto environment = testing::screensEnvironment(
            folder, {testing::wiredTestCard("en0")},
            {{PreflightCheck::ID::adapterConfigured, PreflightCheck::Status::fail,
              "Card isn't set to 192.168.0.1/24", PreflightCheck::ConfigureAdapter{"Wired 1"}}});
        auto runs = std::make_shared<std::atomic<int>>(0);
        environment.host.runAsAdministrator = [runs](const std::string&, const SetupCommand&) {
            ++*runs;
            throw HostSetupError("Not authorised.");
        };
        AppModel model(std::move(environment));
        DashboardWindow window(model);
        window.show();
        model.bootstrap();
        CommandDialog& dialog = window.commandDialog();
        const auto askForTheFix = [&] {
            QTRY_VERIFY(!window.checklist().findChildren<QPushButton*>().isEmpty());
            window.checklist().findChildren<QPushButton*>().first()->click();
            QTRY_VERIFY(dialog.isVisible());
            QVERIFY(dialog.commandShown().startsWith(
                QStringLiteral("Corvane will run:\n\nnmcli connection modify 'Wired 1' ")));
        };

        askForTheFix();
        dialog.findChild<QPushButton*>(QStringLiteral("close"))->click();
        QTRY_VERIFY(!model.pendingCommand());
        QCOMPARE(runs->load(), 0);

        askForTheFix();
        dialog.findChild<QPushButton*>(QStringLiteral("run"))->click();
        QTRY_VERIFY(dialog.isVisible() && dialog.isFailure());
        QCOMPARE(runs->load(), 1);
        QVERIFY(dialog.commandShown().startsWith(QStringLiteral(
            "Not authorised.\n\nYou can run this in Terminal instead:\nsudo nmcli connection")));
        dialog.findChild<QPushButton*>(QStringLiteral("close"))->click();
        QTRY_VERIFY(!model.failedCommand());
        QVERIFY(!dialog.isVisible());
    }
};

QTEST_MAIN(GuiWidgetsTest)

#include "gui_widgets_test.moc"
