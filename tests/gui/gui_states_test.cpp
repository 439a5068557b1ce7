#include <QAbstractItemView>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <mutex>

#include "app/gui/card_picker.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/device_panel.hpp"
#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/lease_table_view.hpp"
#include "app/gui/log_view.hpp"
#include "app/gui/status_header.hpp"
#include "app/gui/waiting_panel.hpp"
#include "app/model/app_model.hpp"
#include "core/events/notice.hpp"
#include "tests/app/app_test_support.hpp"
#include "tests/support/held_loopback_port.hpp"

using namespace corvane;
using namespace std::chrono_literals;
using ID = PreflightCheck::ID;
using Status = PreflightCheck::Status;

namespace {

// The host's card list as the test sets it; the model reads it at every refresh.
class HostCards {
public:
    void set(std::vector<NetworkCard> cards) {
        const std::lock_guard lock(mutex_);
        cards_ = std::move(cards);
    }
    std::vector<NetworkCard> get() const {
        const std::lock_guard lock(mutex_);
        return cards_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<NetworkCard> cards_;
};

NetworkCard en0(bool linkUp) {
    auto card = testing::wiredCard("en0");
    card.linkUp = linkUp;
    return card;
}

// The window over a model whose cards come from `host` and whose server runs on loopback.
struct Dashboard {
    Dashboard(std::shared_ptr<HostCards> host, std::vector<PreflightCheck> checks)
        : model([&] {
              auto environment =
                  testing::testEnvironment(folder, clock, {}, std::move(checks), clientPort.port());
              environment.host.listCards = [host] { return host->get(); };
              return environment;
          }()),
          window(model) {
        window.show();
        model.bootstrap();
    }

    QTemporaryDir folder;
    testing::ManualClock clock;
    testing::HeldLoopbackPort clientPort;
    AppModel model;
    DashboardWindow window;
};

// The background a label is drawn on: the nearest ancestor that paints its own, else the
// window's.
QColor backgroundOf(const QWidget& widget) {
    for (const QWidget* at = &widget; at != nullptr; at = at->parentWidget()) {
        if (at->autoFillBackground()) {
            return at->palette().color(at->backgroundRole());
        }
        if (const auto* view = qobject_cast<const QAbstractItemView*>(at)) {
            return view->palette().color(QPalette::Base);
        }
    }
    return widget.window()->palette().color(QPalette::Window);
}

} // namespace

class GuiStatesTest : public QObject {
    Q_OBJECT

    // The picker shows exactly the card the model uses, and offers it.
    static void verifyAgreement(Dashboard& dashboard, const char* moment) {
        const QString used = QString::fromStdString(dashboard.model.selectedCardID().value_or(""));
        QTRY_COMPARE_WITH_TIMEOUT(dashboard.window.cardPicker().currentCardID(), used, 5000);
        QVERIFY2(used.isEmpty() || dashboard.window.cardPicker().cardIDs().contains(used), moment);
    }

private Q_SLOTS:
    // The usual life of the spare card: no device yet, a device, a run that loses its link,
    // a card pulled out and put back. The picker and the model never disagree.
    void pickerAndModelAgreeThroughTheCardsLife() {
        auto host = std::make_shared<HostCards>();
        host->set({en0(false)});
        Dashboard dashboard(host, {testing::check(ID::wired, Status::pass),
                                   testing::check(ID::link, Status::warn)});
        auto& window = dashboard.window;
        auto& model = dashboard.model;
        QTRY_COMPARE(model.phase(), AppModel::Phase::ready);
        QTRY_VERIFY(!model.isChecking());

        // First launch, nothing plugged in: the card is chosen, shown, marked and explained.
        QCOMPARE(model.selectedCardID(), std::optional<std::string>("en0"));
        verifyAgreement(dashboard, "first launch without link");
        QVERIFY(window.cardPicker().currentTitle().contains(QStringLiteral("no link")));
        QCOMPARE(window.waitingPanel().instructionsText(),
                 gui_texts::stoppedInstructions(QStringLiteral("en0")));
        QVERIFY(window.startButton().isEnabled());

        host->set({en0(true)});
        model.refreshCards();
        QTRY_VERIFY(model.selectedCard() && model.selectedCard()->linkUp);
        verifyAgreement(dashboard, "link up");
        QVERIFY(!window.cardPicker().currentTitle().contains(QStringLiteral("no link")));

        QTRY_VERIFY(model.canStart());
        window.startButton().click();
        QTRY_VERIFY(model.isRunning());
        host->set({en0(false)});
        model.refreshCards();
        QTRY_VERIFY(!model.selectedCard()->linkUp);
        verifyAgreement(dashboard, "link lost while serving");
        QVERIFY(window.statusHeader().detailText().contains(QStringLiteral("no link")));

        host->set({});
        model.refreshCards();
        QTRY_VERIFY(model.cards().empty());
        QVERIFY(model.isRunning());
        verifyAgreement(dashboard, "card unplugged while serving");
        QCOMPARE(window.cardPicker().currentCardID(), QStringLiteral("en0"));

        host->set({en0(true)});
        model.refreshCards();
        QTRY_COMPARE(model.cards().size(), std::size_t(1));
        verifyAgreement(dashboard, "card back while serving");

        window.stopButton().click();
        QTRY_VERIFY(!model.isRunning());
        host->set({});
        model.refreshCards();
        QTRY_VERIFY(!model.selectedCardID());
        verifyAgreement(dashboard, "card unplugged while stopped");
        QCOMPARE(window.startHint().text(), gui_texts::chooseCardToStart);

        host->set({en0(false)});
        model.refreshCards();
        QTRY_COMPARE(model.selectedCardID(), std::optional<std::string>("en0"));
        verifyAgreement(dashboard, "card back while stopped");
    }

    void contrastHoldsInLightAndDarkPalettes_data() {
        QTest::addColumn<bool>("dark");
        QTest::newRow("light") << false;
        QTest::newRow("dark") << true;
    }
    // Every text the dashboard draws, in every colour it uses, reaches 4.5:1 against what it
    // is drawn on: checks of all three kinds, both banners, log lines of every kind, leases
    // of every presence, the status header serving and stopped.
    void contrastHoldsInLightAndDarkPalettes() {
        QFETCH(bool, dark);
        const QPalette before = QApplication::palette();
        QApplication::setPalette(dark ? gui_style::darkPalette()
                                      : QApplication::style()->standardPalette());
        QCOMPARE(gui_style::prefersDark(), dark);
        {
            auto host = std::make_shared<HostCards>();
            host->set({en0(true)});
            Dashboard dashboard(host, {testing::check(ID::wired, Status::pass),
                                       testing::check(ID::vpnOverlap, Status::warn),
                                       testing::check(ID::link, Status::warn)});
            QTRY_VERIFY(dashboard.model.canStart());
            dashboard.window.startButton().click();
            QTRY_VERIFY(dashboard.model.isRunning());
            for (const auto kind : {LogLine::Kind::rx, LogLine::Kind::tx, LogLine::Kind::presence,
                                    LogLine::Kind::notice, LogLine::Kind::other}) {
                dashboard.model.appendLog("RX DISCOVER line", kind);
            }
            dashboard.model.handle(ServerEvent::NoticeRaised{Notice::portInUse("dnsmasq")});
            Lease lease;
            lease.mac = MACAddress(MACAddress::ByteArray{0x02, 0, 0, 0, 0, 0x64});
            lease.ip = IPv4Address(192, 168, 0, 100);
            lease.state = Lease::State::bound;
            lease.expiresAt = testing::testStart + 1h;
            dashboard.model.handle(ServerEvent::LeaseChanged{lease});
            SentSummary ack;
            ack.type = DHCPMessageType::ack;
            ack.ip = lease.ip;
            ack.mac = lease.mac;
            dashboard.model.handle(ServerEvent::Sent{ack});
            QTRY_VERIFY(dashboard.window.showsDevicePanel());
            verifyContrast(dashboard.window, "serving");
            dashboard.window.stopButton().click();
            QTRY_VERIFY(!dashboard.model.isRunning());
            // After Stop the device stays as a greyed record of the run, still readable.
            QTRY_COMPARE(dashboard.window.devicePanel().headlineText(), gui_texts::lastDevice);
            verifyContrast(dashboard.window, "stopped");
        }
        QApplication::setPalette(before);
    }

private:
    static void verifyContrast(QWidget& window, const char* state) {
        QTest::qWait(50);
        int checked = 0;
        for (const auto* label : window.findChildren<QLabel*>()) {
            if (!label->isVisible() || !label->isEnabled() || label->text().isEmpty()) {
                continue;
            }
            const QColor text = label->palette().color(label->foregroundRole());
            const double ratio = gui_style::contrastRatio(text, backgroundOf(*label));
            ++checked;
            QVERIFY2(ratio >= 4.5, qPrintable(QStringLiteral("%1: \"%2\" at %3:1")
                                                  .arg(QLatin1String(state), label->text())
                                                  .arg(ratio, 0, 'f', 2)));
        }
        QVERIFY(checked > 10);
        for (auto* view : window.findChildren<QAbstractItemView*>()) {
            const QColor base = view->palette().color(QPalette::Base);
            const QColor alternate = view->palette().color(QPalette::AlternateBase);
            for (int row = 0; row < view->model()->rowCount(); ++row) {
                for (int column = 0; column < view->model()->columnCount(); ++column) {
                    const auto colour = view->model()->index(row, column).data(Qt::ForegroundRole);
                    if (!colour.isValid()) {
                        continue;
                    }
                    const QColor text = colour.value<QColor>();
                    QVERIFY2(gui_style::contrastRatio(text, base) >= 4.5 &&
                                 gui_style::contrastRatio(text, alternate) >= 4.5,
                             qPrintable(view->model()->index(row, column).data().toString()));
                }
            }
        }
    }
};

QTEST_MAIN(GuiStatesTest)

#include "gui_states_test.moc"
