#include "app/gui/screenshot_tour.hpp"

#include <QAbstractButton>
#include <QCheckBox>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QUdpSocket>
#include <iostream>

#include "app/gui/card_picker.hpp"
#include "app/gui/checklist_view.hpp"
#include "app/gui/command_dialog.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/device_timeline_view.hpp"
#include "app/gui/launch_screen.hpp"
#include "app/gui/lease_table_view.hpp"
#include "app/gui/notice_banner.hpp"
#include "app/gui/options_page.hpp"
#include "app/gui/reservations_page.hpp"
#include "app/gui/settings_dialog.hpp"
#include "app/model/app_model.hpp"

namespace corvane {
namespace {

// The size the README and the documentation show.
constexpr QSize windowSize(1200, 780);

void waitForEvents(std::chrono::milliseconds slice) {
    QEventLoop loop;
    QTimer::singleShot(slice, &loop, &QEventLoop::quit);
    loop.exec();
}

bool hasFailingCheckWithFix(const std::vector<PreflightCheck>& checks) {
    for (const auto& check : checks) {
        if (check.status == PreflightCheck::Status::fail && check.fix) {
            return true;
        }
    }
    return false;
}

// A settings form with a mistake in most areas, as a user might leave it mid-edit.
SettingsForm formWithMistakes(const ServerConfig& config) {
    SettingsForm form(config);
    form.serverIP = "192.168.0";
    form.rangeEnd = "";
    form.leasePreset = LeasePreset::custom;
    form.customLease = "1.5h";
    form.dns = "10.0.0.53, abc";
    return form;
}

// Reservations, boot settings and options as a lab sets them, with one typo on each page.
SettingsForm labForm(const ServerConfig& config) {
    SettingsForm form(config);
    const auto network = config.subnet().network().value();
    const auto host = [network](std::uint32_t offset) {
        return IPv4Address(network + offset).description();
    };
    form.reservations = {{"02:00:5e:10:00:01", host(20), "camera"},
                         {"00:1b:21:3a:4f:02", host(21), "test board"},
                         {"02:00:5e:10:00:03", "192.168.300.1", "printer"}};
    form.nextServer = host(2);
    form.bootFile = "pxelinux.0";
    form.options = {{"66", "tftp.lab"},
                    {"42", host(1)},
                    {"119", "lab.example, example.com"},
                    {"224", "hex:0a0b0z"}};
    return form;
}

} // namespace

ScreenshotTour::ScreenshotTour(AppModel& model, DashboardWindow& window, Options options)
    : model_(model), window_(window), options_(std::move(options)) {
    device_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    device_.setStandardOutputFile(QProcess::nullDevice());
}

ScreenshotTour::~ScreenshotTour() {
    model_.stop();
    if (device_.state() != QProcess::NotRunning) {
        device_.kill();
        device_.waitForFinished(5000);
    }
}

bool ScreenshotTour::run() {
    if (!options_.output.mkpath(QStringLiteral("."))) {
        std::cerr << "Could not create the folder " << options_.output.path().toStdString()
                  << ". Check that you may write there, then try again.\n";
        return false;
    }
    window_.resize(windowSize);
    window_.show();
    if (!launch() || !cardWithoutLink() || !dashboard()) {
        return false;
    }
    if (options_.card) {
        if (!failingChecks() || !running() || !deviceFound() || !deviceTimeline() ||
            !stoppedWithLastDevice() || !criticalBanner()) {
            return false;
        }
    } else {
        std::cerr << "Skipped the serving states: they need a card made for the tour. Run "
                     "scripts/screenshots.sh as root to include them.\n";
    }
    return settingsWithErrors();
}

bool ScreenshotTour::launch() {
    if (!reach("launch screen", [this] { return window_.launchScreen().isVisible(); })) {
        return false;
    }
    const bool saved = save(QStringLiteral("launch"), window());
    model_.bootstrap();
    return saved;
}

bool ScreenshotTour::cardWithoutLink() {
    if (!options_.card || !options_.cardStartsDown) {
        return true;
    }
    const QString card = *options_.card;
    if (!reach("card without link", [&] {
            return model_.phase() == AppModel::Phase::ready &&
                   model_.selectedCardID() == card.toStdString() && checksSettled() &&
                   window_.cardPicker().currentCardID() == card;
        })) {
        return false;
    }
    const bool saved = save(QStringLiteral("first-launch-no-link"), window());
    // Only the card made for the tour, in the tour's own namespace.
    if (QProcess::execute(QStringLiteral("ip"), {QStringLiteral("link"), QStringLiteral("set"),
                                                 card, QStringLiteral("up")}) != 0) {
        std::cerr << "Could not bring " << card.toStdString() << " up.\n";
        return false;
    }
    return reach("link up",
                 [this] {
                     const auto* chosen = model_.selectedCard();
                     return chosen && chosen->linkUp;
                 }) &&
           saved;
}

bool ScreenshotTour::stoppedWithLastDevice() {
    if (options_.deviceCommand.isEmpty()) {
        return true;
    }
    window_.stopButton().click();
    if (!reach("stopped with the last device", [this] {
            return !model_.isRunning() && window_.showsDevicePanel() && checksSettled();
        })) {
        return false;
    }
    return save(QStringLiteral("stopped-last-device"), window());
}

bool ScreenshotTour::dashboard() {
    if (!reach("dashboard", [this] { return model_.phase() == AppModel::Phase::ready; })) {
        return false;
    }
    if (options_.card) {
        const QString card = *options_.card;
        if (!model_.showVirtualCards()) {
            window_.cardPicker().findChild<QCheckBox*>(QStringLiteral("showVirtualCards"))->click();
        }
        if (!reach("card offered", [&] { return window_.cardPicker().cardIDs().contains(card); })) {
            return false;
        }
        window_.cardPicker().choose(card);
        if (!reach("passing checks", [&] {
                return model_.selectedCardID() == card.toStdString() && checksSettled() &&
                       model_.canStart() && !model_.checks().empty() &&
                       model_.checks().back().id == PreflightCheck::ID::otherServer;
            })) {
            return false;
        }
    } else if (!reach("checks", [this] {
                   return checksSettled() || (!model_.selectedCardID() && !model_.isChecking());
               })) {
        return false;
    }
    return save(QStringLiteral("dashboard"), window());
}

bool ScreenshotTour::failingChecks() {
    const ServerConfig original = model_.config();
    ServerConfig elsewhere = original;
    elsewhere.serverIP = IPv4Address(10, 20, 30, 1);
    elsewhere.rangeStart = IPv4Address(10, 20, 30, 100);
    elsewhere.rangeEnd = IPv4Address(10, 20, 30, 200);
    model_.setConfig(elsewhere);
    if (!reach("failing checks",
               [this] { return checksSettled() && hasFailingCheckWithFix(model_.checks()); })) {
        return false;
    }
    bool saved = save(QStringLiteral("checks-failing"), window());

    const auto fixes = window_.checklist().findChildren<QPushButton*>();
    if (fixes.isEmpty()) {
        std::cerr << "The failing check shows no fix button.\n";
        return false;
    }
    fixes.first()->click();
    if (!reach("command confirmation", [this] { return window_.commandDialog().isVisible(); })) {
        return false;
    }
    saved =
        save(QStringLiteral("command-confirmation"), windowWith(window_.commandDialog())) && saved;
    window_.commandDialog().reject();

    model_.setConfig(original);
    return reach("passing checks again",
                 [this] {
                     return !model_.pendingCommand() && checksSettled() && model_.canStart();
                 }) &&
           saved;
}

bool ScreenshotTour::running() {
    window_.startButton().click();
    if (!reach("running", [this] {
            return model_.isRunning() && window_.stopButton().isEnabled() &&
                   !window_.showsDevicePanel();
        })) {
        return false;
    }
    return save(QStringLiteral("running-waiting"), window());
}

bool ScreenshotTour::deviceFound() {
    if (options_.deviceCommand.isEmpty()) {
        std::cerr << "Skipped the found device: no device command was given.\n";
        return true;
    }
    device_.start(options_.deviceCommand.first(), options_.deviceCommand.mid(1));
    if (!device_.waitForStarted(5000)) {
        std::cerr << "Could not start the device's DHCP client: "
                  << device_.errorString().toStdString() << ".\n";
        return false;
    }
    if (!reach(
            "device found", [this] { return window_.showsDevicePanel(); },
            std::chrono::seconds(40))) {
        return false;
    }
    // A presence probe follows within seconds; the picture is better with its answer, but a
    // device that never answers is still worth showing.
    const QDeadlineTimer presence(std::chrono::seconds(15));
    while (!presence.hasExpired()) {
        const auto& device = model_.state().deviceFound;
        if (device && model_.presence(*device) == PresenceState::online) {
            break;
        }
        waitForEvents(std::chrono::milliseconds(50));
    }
    waitForEvents(std::chrono::milliseconds(300));
    return save(QStringLiteral("device-found"), window());
}

bool ScreenshotTour::deviceTimeline() {
    const auto& device = model_.state().deviceFound;
    if (!device) {
        return true;
    }
    window_.leaseTable().selectMAC(QString::fromStdString(device->mac.description()));
    if (!reach("device timeline", [this] {
            const auto* lines = window_.deviceTimeline().findChild<QPlainTextEdit*>();
            return lines != nullptr && lines->toPlainText().contains(QStringLiteral("TX ACK"));
        })) {
        return false;
    }
    return save(QStringLiteral("device-timeline"), window());
}

bool ScreenshotTour::criticalBanner() {
    if (model_.isRunning()) {
        window_.stopButton().click();
    }
    if (!reach("stopped",
               [this] { return !model_.isRunning() && checksSettled() && model_.canStart(); })) {
        return false;
    }
    // Another program takes the port between the checks and the start: the start fails and
    // the model raises the port-in-use notice.
    QUdpSocket holder;
    if (!holder.bind(QHostAddress::AnyIPv4, 67)) {
        std::cerr << "Skipped the critical banner: this program could not hold UDP port 67 ("
                  << holder.errorString().toStdString() << ").\n";
        return true;
    }
    window_.startButton().click();
    if (!reach("critical banner", [this] {
            const auto banners = window_.banners();
            return !banners.empty() && banners.front()->isCritical();
        })) {
        return false;
    }
    model_.refreshChecks();
    if (!reach("checks after the failed start", [this] { return checksSettled(); })) {
        return false;
    }
    return save(QStringLiteral("critical-banner"), window());
}

bool ScreenshotTour::settingsWithErrors() {
    model_.setSettingsOpen(true);
    SettingsDialog& settings = window_.settingsDialog();
    if (!reach("settings", [&] { return settings.isVisible(); })) {
        return false;
    }
    settings.setForm(formWithMistakes(model_.config()));
    const bool saved = save(QStringLiteral("settings-errors"), windowWith(settings));
    settings.reject();
    return saved && labSettingsPages();
}

bool ScreenshotTour::labSettingsPages() {
    model_.setSettingsOpen(true);
    SettingsDialog& settings = window_.settingsDialog();
    if (!reach("settings", [&] { return settings.isVisible(); })) {
        return false;
    }
    settings.setForm(labForm(model_.config()));
    settings.showPage(settings.reservationsPage());
    waitForEvents(std::chrono::milliseconds(100));
    bool saved = save(QStringLiteral("settings-reservations"), windowWith(settings));
    settings.showPage(settings.optionsPage());
    waitForEvents(std::chrono::milliseconds(100));
    saved = save(QStringLiteral("settings-options"), windowWith(settings)) && saved;
    settings.reject();
    return saved;
}

bool ScreenshotTour::reach(const char* state, const std::function<bool()>& condition,
                           std::chrono::milliseconds limit) {
    const QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired()) {
            std::cerr << "The tour could not reach the state \"" << state << "\" within "
                      << std::chrono::duration_cast<std::chrono::seconds>(limit).count()
                      << " seconds.\n";
            return false;
        }
        waitForEvents(std::chrono::milliseconds(20));
    }
    // Let deferred redraws and layouts run before a picture is taken.
    waitForEvents(std::chrono::milliseconds(100));
    return true;
}

bool ScreenshotTour::save(const QString& name, const QPixmap& picture) {
    const QString path = options_.output.filePath(name + options_.suffix + QStringLiteral(".png"));
    if (!picture.save(path, "PNG")) {
        std::cerr << "Could not write " << path.toStdString()
                  << ". Check that you may write there, then try again.\n";
        return false;
    }
    std::cout << "wrote " << path.toStdString() << "\n";
    return true;
}

QPixmap ScreenshotTour::window() {
    return window_.grab();
}

QPixmap ScreenshotTour::windowWith(QWidget& dialog) {
    QPixmap picture = window();
    const QPixmap sheet = dialog.grab();
    QPainter painter(&picture);
    painter.fillRect(picture.rect(), QColor(0, 0, 0, 80));
    const QPoint corner((picture.width() - sheet.width()) / 2, 70);
    painter.fillRect(QRect(corner + QPoint(4, 6), sheet.size()), QColor(0, 0, 0, 60));
    painter.drawPixmap(corner, sheet);
    painter.setPen(QColor(0, 0, 0, 110));
    painter.drawRect(QRect(corner, sheet.size()).adjusted(-1, -1, 0, 0));
    return picture;
}

bool ScreenshotTour::checksSettled() const {
    return !model_.isChecking() && !model_.checks().empty();
}

} // namespace corvane
