#include "app/gui/dashboard_window.hpp"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QStackedWidget>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

#include "app/gui/app_icon.hpp"
#include "app/gui/card_picker.hpp"
#include "app/gui/checklist_view.hpp"
#include "app/gui/command_dialog.hpp"
#include "app/gui/device_panel.hpp"
#include "app/gui/device_timeline_view.hpp"
#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/launch_screen.hpp"
#include "app/gui/lease_table_view.hpp"
#include "app/gui/log_view.hpp"
#include "app/gui/notice_banner.hpp"
#include "app/gui/reservations_page.hpp"
#include "app/gui/settings_dialog.hpp"
#include "app/gui/status_header.hpp"
#include "app/gui/waiting_panel.hpp"
#include "app/model/app_model.hpp"
#include "app/model/app_texts.hpp"
#include "app/model/update_texts.hpp"
#include "core/config/duration_text.hpp"
#include "core/leases/lease_table.hpp"

namespace corvane {
namespace {

// Banners of the last error use an id no notice kind has.
constexpr int lastErrorBanner = -1;

QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(gui_style::emphasised(parent->font(), 1));
    return label;
}

QString cardName(const NetworkCard* card) {
    return card ? gui_texts::cardName(*card) : QString();
}

} // namespace

DashboardWindow::DashboardWindow(AppModel& model, QWidget* parent)
    : QMainWindow(parent), model_(model), pages_(new QStackedWidget(this)),
      launch_(new LaunchScreen(this)), settingsDialog_(new SettingsDialog(this)),
      commandDialog_(new CommandDialog(this)), confirmation_(new QMessageBox(this)) {
    setWindowTitle(gui_texts::applicationName);
    setWindowIcon(appIcon());
    resize(1200, 780);
    pages_->addWidget(launch_);
    pages_->addWidget(buildDashboard());
    setCentralWidget(pages_);
    buildMenus();

    confirmation_->setIcon(QMessageBox::Question);
    confirmation_->setWindowModality(Qt::WindowModal);

    refresh_.setSingleShot(true);
    refresh_.setInterval(0);
    connect(&refresh_, &QTimer::timeout, this, &DashboardWindow::refreshScheduled);
    // Lease times count down even when nothing else happens.
    tick_.setInterval(std::chrono::seconds(1));
    connect(&tick_, &QTimer::timeout, this, [this] { scheduleRefresh(stateRefresh); });
    tick_.start();

    connectModel();
    connectWidgets();
    showPhase();
    showCards();
    showChecks();
    showConfig();
    showControls();
    showBanners();
    showDevice();
    showLeases();
    showLog();
}

DashboardWindow::~DashboardWindow() = default;

QWidget* DashboardWindow::buildDashboard() {
    auto* page = new QWidget(this);
    bannerArea_ = new QVBoxLayout;
    bannerArea_->setSpacing(6);

    auto* split = new QSplitter(Qt::Horizontal, page);
    split->addWidget(buildSidebar());
    split->addWidget(buildMain());
    split->setStretchFactor(0, 0);
    split->setStretchFactor(1, 1);
    split->setChildrenCollapsible(false);

    header_ = new StatusHeader(page);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(12, 10, 12, 12);
    layout->setSpacing(10);
    layout->addWidget(header_);
    layout->addLayout(bannerArea_);
    layout->addWidget(split, 1);
    return page;
}

QWidget* DashboardWindow::buildSidebar() {
    auto* content = new QWidget;
    cardPicker_ = new CardPicker(content);
    checklist_ = new ChecklistView(content);
    configSummary_ = new QLabel(content);
    configSummary_->setWordWrap(true);
    settings_ = new QPushButton(gui_texts::settingsButton, content);
    status_ = new QLabel(content);
    status_->setObjectName(QStringLiteral("startHint"));
    status_->setWordWrap(true);
    start_ = new QPushButton(gui_texts::start, content);
    stop_ = new QPushButton(gui_texts::stop, content);
    start_->setDefault(true);
    start_->setMinimumHeight(34);
    stop_->setMinimumHeight(34);

    auto* config = new QHBoxLayout;
    config->addWidget(configSummary_, 1);
    config->addWidget(settings_, 0, Qt::AlignTop);
    auto* controls = new QHBoxLayout;
    controls->addWidget(start_, 1);
    controls->addWidget(stop_, 1);

    // Start sits right under the checks it depends on, with the reason when it is disabled.
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 12, 0);
    layout->setSpacing(8);
    layout->addWidget(heading(gui_texts::cardHeading, content));
    layout->addWidget(cardPicker_);
    layout->addSpacing(8);
    layout->addWidget(heading(gui_texts::checksHeading, content));
    layout->addWidget(checklist_);
    layout->addLayout(controls);
    layout->addWidget(status_);
    layout->addSpacing(12);
    layout->addWidget(heading(gui_texts::configHeading, content));
    layout->addLayout(config);
    layout->addStretch();

    auto* scroll = new QScrollArea;
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setMinimumWidth(380);
    scroll->setMaximumWidth(460);
    return scroll;
}

QWidget* DashboardWindow::buildMain() {
    auto* split = new QSplitter(Qt::Vertical);
    panels_ = new QStackedWidget(split);
    waitingPanel_ = new WaitingPanel(panels_);
    devicePanel_ = new DevicePanel(panels_);
    panels_->addWidget(waitingPanel_);
    panels_->addWidget(devicePanel_);

    auto* leases = new QWidget(split);
    leaseTable_ = new LeaseTableView(leases);
    auto* leasesLayout = new QVBoxLayout(leases);
    leasesLayout->setContentsMargins(0, 8, 0, 0);
    leasesLayout->addWidget(heading(gui_texts::leasesHeading, leases));
    timeline_ = new DeviceTimelineView(leases);
    // The timeline goes under the table rather than beside it: both keep the full width, so
    // the table shows every column and the timeline's log lines are not cut short. Until a
    // lease is selected it is one line of hint and the table has the room.
    leasesLayout->addWidget(leaseTable_, 1);
    leasesLayout->addWidget(timeline_, 0);

    auto* log = new QWidget(split);
    logView_ = new LogView(log);
    auto* logLayout = new QVBoxLayout(log);
    logLayout->setContentsMargins(0, 8, 0, 0);
    logLayout->addWidget(heading(gui_texts::logHeading, log));
    logLayout->addWidget(logView_, 1);

    split->addWidget(panels_);
    split->addWidget(leases);
    split->addWidget(log);
    split->setStretchFactor(0, 0);
    split->setStretchFactor(1, 1);
    split->setStretchFactor(2, 2);
    split->setChildrenCollapsible(false);
    return split;
}

void DashboardWindow::buildMenus() {
    auto* file = menuBar()->addMenu(gui_texts::fileMenu);
    // The sheet edits the next run's configuration, so it stays closed while a server runs.
    settingsAction_ =
        file->addAction(gui_texts::settingsAction, this, [this] { model_.setSettingsOpen(true); });
    saveCapture_ =
        file->addAction(gui_texts::saveCaptureAction, this, &DashboardWindow::saveCapture);
    file->addAction(gui_texts::openLogFolderAction, this, [this] {
        const auto folder = QString::fromStdString(model_.logFolder().string());
        QDir().mkpath(folder);
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
    });
    file->addSeparator();
    file->addAction(gui_texts::quitAction, QKeySequence::Quit, qApp, &QApplication::quit);

    auto* card = menuBar()->addMenu(gui_texts::cardMenu);
    configureCard_ = card->addAction(gui_texts::configureCardAction, this,
                                     [this] { model_.requestConfigureAdapter(); });
    restoreDHCP_ = card->addAction(gui_texts::restoreDHCPAction, this,
                                   [this] { model_.requestRestoreDHCP(); });

    auto* help = menuBar()->addMenu(gui_texts::helpMenu);
    checkForUpdates_ = help->addAction(gui_texts::checkForUpdates, this,
                                       [this] { model_.updates().checkForUpdates(); });
    help->addAction(gui_texts::aboutAction, this, [this] {
        QMessageBox::about(this, gui_texts::applicationName,
                           gui_texts::aboutText(QApplication::applicationVersion()));
    });
}

void DashboardWindow::connectModel() {
    connect(&model_, &AppModel::phaseChanged, this, &DashboardWindow::showPhase);
    for (const auto signal :
         {&AppModel::cardsChanged, &AppModel::selectedCardChanged,
          &AppModel::showDisconnectedChanged, &AppModel::showVirtualCardsChanged}) {
        connect(&model_, signal, this, &DashboardWindow::showCards);
        connect(&model_, signal, this, &DashboardWindow::showControls);
    }
    connect(&model_, &AppModel::checksChanged, this, &DashboardWindow::showChecks);
    connect(&model_, &AppModel::checksChanged, this, &DashboardWindow::showControls);
    connect(&model_, &AppModel::checkingChanged, this, &DashboardWindow::showControls);
    connect(&model_, &AppModel::canStartChanged, this, &DashboardWindow::showControls);
    connect(&model_, &AppModel::runningChanged, this, &DashboardWindow::showControls);
    connect(&model_, &AppModel::runningChanged, this, [this] { scheduleRefresh(stateRefresh); });
    connect(&model_, &AppModel::commandRunningChanged, this, &DashboardWindow::showControls);
    connect(&model_, &AppModel::configChanged, this, &DashboardWindow::showConfig);
    connect(&model_, &AppModel::stateChanged, this, [this] { scheduleRefresh(stateRefresh); });
    connect(&model_, &AppModel::lastErrorChanged, this, &DashboardWindow::showBanners);
    connect(&model_, &AppModel::tcpdumpCommandChanged, this, &DashboardWindow::showDevice);
    connect(&model_, &AppModel::waitingHintChanged, this, &DashboardWindow::showDevice);
    connect(&model_, &AppModel::logChanged, this, [this] { scheduleRefresh(logRefresh); });
    connect(&model_, &AppModel::logFilterChanged, this,
            [this] { logView_->setFilter(model_.logFilter()); });
    connect(&model_, &AppModel::logPausedChanged, this,
            [this] { logView_->setPaused(model_.logPaused()); });
    connect(&model_, &AppModel::settingsOpenChanged, this, &DashboardWindow::showSettings);
    connect(&model_, &AppModel::pendingCommandChanged, this, &DashboardWindow::showCommand);
    connect(&model_, &AppModel::failedCommandChanged, this, &DashboardWindow::showCommand);
    connect(&model_, &AppModel::failedCommandChanged, this, &DashboardWindow::showBanners);
    connect(&model_, &AppModel::commandRunningChanged, this, &DashboardWindow::showCommand);
    connect(&model_, &AppModel::confirmForgetChanged, this,
            &DashboardWindow::showLeaseEditConfirmation);
    connect(&model_, &AppModel::confirmClearChanged, this,
            &DashboardWindow::showLeaseEditConfirmation);

    UpdateController& updates = model_.updates();
    checkForUpdates_->setEnabled(updates.canCheckForUpdates());
    checkForUpdates_->setToolTip(updates.isConfigured() ? QString() : gui_texts::updatesNotSetUp);
    connect(&updates, &UpdateController::canCheckForUpdatesChanged, checkForUpdates_,
            &QAction::setEnabled);
    connect(&updates, &UpdateController::updateAvailable, this,
            [this](const QString& version, const QUrl& page) {
                QMessageBox box(QMessageBox::Information, gui_texts::applicationName,
                                gui_texts::updateAvailable(version), QMessageBox::Close, this);
                auto* open = box.addButton(gui_texts::openDownloadPage, QMessageBox::AcceptRole);
                box.exec();
                if (box.clickedButton() == open) {
                    QDesktopServices::openUrl(page);
                }
            });
    connect(&updates, &UpdateController::upToDate, this, [this] {
        QMessageBox::information(this, gui_texts::applicationName,
                                 gui_texts::toQString(update_texts::noUpdateDescription));
    });
}

void DashboardWindow::connectWidgets() {
    connect(cardPicker_, &CardPicker::cardChosen, this,
            [this](const QString& id) { model_.selectCard(id.toStdString()); });
    connect(cardPicker_, &CardPicker::showDisconnectedToggled, this,
            [this](bool show) { model_.setShowDisconnected(show); });
    connect(cardPicker_, &CardPicker::showVirtualCardsToggled, this,
            [this](bool show) { model_.setShowVirtualCards(show); });
    connect(checklist_, &ChecklistView::configureAdapterRequested, this,
            [this] { model_.requestConfigureAdapter(); });
    connect(settings_, &QPushButton::clicked, this, [this] { model_.setSettingsOpen(true); });
    connect(start_, &QPushButton::clicked, this, [this] { model_.start(); });
    connect(stop_, &QPushButton::clicked, this, [this] { model_.stop(); });
    connect(devicePanel_, &DevicePanel::openInBrowserRequested, this, [this](const QString& ip) {
        if (const auto address = IPv4Address::parse(ip.toStdString())) {
            model_.openInBrowser(*address);
        }
    });
    connect(leaseTable_, &LeaseTableView::forgetRequested, this, [this](const QString& mac) {
        if (const auto address = MACAddress::parse(mac.toStdString())) {
            model_.requestForget(*address);
        }
    });
    connect(leaseTable_, &LeaseTableView::reserveRequested, this,
            [this](const QString& mac, const QString& ip, const QString& name) {
                // The reservation is one more settings row: it takes effect once saved.
                model_.setSettingsOpen(true);
                auto& reservations = settingsDialog_->reservationsPage();
                reservations.reserve(mac.toStdString(), ip.toStdString(),
                                     name == gui_texts::notGiven ? std::string()
                                                                 : name.toStdString());
                settingsDialog_->showPage(reservations);
            });
    connect(leaseTable_, &LeaseTableView::selectedMACChanged, this, &DashboardWindow::showTimeline);
    connect(leaseTable_, &LeaseTableView::clearExpiredRequested, this,
            [this] { model_.requestClearExpired(); });
    connect(logView_, &LogView::filterEdited, this,
            [this](const QString& filter) { model_.setLogFilter(filter); });
    connect(logView_, &LogView::pauseToggled, this,
            [this](bool paused) { model_.setLogPaused(paused); });
    connect(logView_, &LogView::clearRequested, this, [this] { model_.clearLog(); });
    connect(settingsDialog_, &QDialog::finished, this, &DashboardWindow::closeSettings);
    connect(commandDialog_, &CommandDialog::runRequested, this,
            [this](const PendingCommand& command) { model_.run(command); });
    connect(commandDialog_, &QDialog::rejected, this, &DashboardWindow::closeCommand);
    connect(confirmation_, &QMessageBox::finished, this, &DashboardWindow::answerLeaseEdit);
}

std::vector<NoticeBanner*> DashboardWindow::banners() const {
    std::vector<NoticeBanner*> shown;
    for (int index = 0; index < bannerArea_->count(); ++index) {
        if (auto* banner = qobject_cast<NoticeBanner*>(bannerArea_->itemAt(index)->widget())) {
            shown.push_back(banner);
        }
    }
    return shown;
}

bool DashboardWindow::showsDevicePanel() const {
    return panels_->currentWidget() == devicePanel_;
}

void DashboardWindow::scheduleRefresh(int parts) {
    pendingRefresh_ |= parts;
    if (!refresh_.isActive()) {
        refresh_.start();
    }
}

void DashboardWindow::refreshScheduled() {
    const int parts = std::exchange(pendingRefresh_, 0);
    if (parts & stateRefresh) {
        showHeader();
        showBanners();
        showDevice();
        showLeases();
    }
    if (parts & logRefresh) {
        showLog();
        showTimeline();
    }
}

void DashboardWindow::showPhase() {
    pages_->setCurrentIndex(model_.phase() == AppModel::Phase::ready ? 1 : 0);
    menuBar()->setEnabled(model_.phase() == AppModel::Phase::ready);
}

void DashboardWindow::showCards() {
    cardPicker_->setShowDisconnected(model_.showDisconnected());
    cardPicker_->setShowVirtualCards(model_.showVirtualCards());
    cardPicker_->setCards(model_.offeredCards(), model_.selectedCardID());
    showDevice();
}

void DashboardWindow::showChecks() {
    checklist_->setChecks(model_.checks());
}

void DashboardWindow::showControls() {
    const bool running = model_.isRunning();
    const bool commandRunning = model_.isCommandRunning();
    start_->setEnabled(model_.canStart());
    stop_->setEnabled(running);
    cardPicker_->setLocked(running);
    checklist_->setFixesEnabled(!running && !commandRunning);
    settings_->setEnabled(!running);
    settingsAction_->setEnabled(!running);
    saveCapture_->setEnabled(model_.hasCapture());
    configureCard_->setEnabled(!running && !commandRunning && model_.selectedCard());
    restoreDHCP_->setEnabled(!running && !commandRunning && model_.selectedCard());
    status_->setText(startHintText());
    status_->setVisible(!running && !model_.canStart());
    QPalette colour = status_->palette();
    colour.setColor(QPalette::WindowText, gui_style::mutedText());
    status_->setPalette(colour);
    checklist_->setDescribesStart(running);
    showHeader();
}

QString DashboardWindow::startHintText() const {
    if (model_.selectedCard() == nullptr) {
        return gui_texts::chooseCardToStart;
    }
    const auto& checks = model_.checks();
    const auto failing = std::count_if(checks.begin(), checks.end(), [](const auto& check) {
        return check.status == PreflightCheck::Status::fail;
    });
    if (failing > 0) {
        return gui_texts::fixChecksToStart(int(failing));
    }
    return gui_texts::waitForChecksToStart;
}

void DashboardWindow::showHeader() {
    StatusHeader::Status status;
    const auto* card = model_.selectedCard();
    status.card = cardName(card);
    status.cardHasLink = card != nullptr && card->linkUp;
    if (model_.isRunning()) {
        status.state = StatusHeader::State::serving;
        if (const auto& startedAt = model_.startedAt()) {
            status.servingFor = std::chrono::floor<std::chrono::seconds>(
                std::max(model_.now() - *startedAt, TimePoint::duration::zero()));
        }
    } else if (model_.isChecking()) {
        status.state = StatusHeader::State::checking;
    }
    status.nextAddress = model_.nextAddress();
    header_->setStatus(status);
}

void DashboardWindow::showBanners() {
    std::vector<std::pair<int, QString>> wanted;
    // A failed command is reported once, in its dialog, with the command to run by hand.
    if (const auto& error = model_.lastError(); error && !model_.failedCommand()) {
        wanted.emplace_back(lastErrorBanner, QString::fromStdString(*error));
    }
    // The map's order is the kinds' declared order, which puts the critical kinds first.
    for (const auto& [kind, notice] : model_.state().notices) {
        wanted.emplace_back(int(kind), QString::fromStdString(notice.message));
    }
    if (wanted == shownBanners_) {
        return;
    }
    shownBanners_ = wanted;
    while (auto* item = bannerArea_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const auto& [id, message] : wanted) {
        auto* banner = new NoticeBanner(this);
        const bool critical = id == lastErrorBanner || isCritical(NoticeKind(id));
        banner->setNotice(message, critical);
        connect(banner, &NoticeBanner::dismissed, this, [this, id] {
            if (id == lastErrorBanner) {
                model_.clearLastError();
            } else {
                model_.dismiss(NoticeKind(id));
            }
        });
        bannerArea_->addWidget(banner);
    }
}

void DashboardWindow::showDevice() {
    const CorvaneState& state = model_.state();
    if (state.deviceFound) {
        devicePanel_->setDevice(*state.deviceFound, model_.presence(*state.deviceFound),
                                model_.now(), model_.isRunning());
        panels_->setCurrentWidget(devicePanel_);
        return;
    }
    waitingPanel_->setStatus(model_.isRunning(), cardName(model_.selectedCard()));
    waitingPanel_->setNextAddress(model_.nextAddress());
    waitingPanel_->setTcpdumpCommand(model_.tcpdumpCommand());
    waitingPanel_->setHintShown(model_.waitingHintShown());
    panels_->setCurrentWidget(waitingPanel_);
}

void DashboardWindow::showLeases() {
    std::vector<Lease> leases;
    for (const auto& [mac, lease] : model_.state().leases) {
        leases.push_back(lease);
    }
    const LeaseTable table(std::move(leases), {});
    std::vector<LeaseTableModel::Row> rows;
    for (auto& lease :
         table.sortedForDisplay([this](const Lease& lease) { return model_.presence(lease); })) {
        const auto presence = model_.presence(lease);
        rows.push_back({std::move(lease), presence});
    }
    leaseTable_->setRows(std::move(rows), model_.now());
}

void DashboardWindow::showLog() {
    logView_->setLines(model_.visibleLog());
    logView_->setFilter(model_.logFilter());
    logView_->setPaused(model_.logPaused());
}

void DashboardWindow::showConfig() {
    const ServerConfig& config = model_.config();
    configSummary_->setText(gui_texts::configSummary(
        config.serverIP, config.prefixLength, config.rangeStart, config.rangeEnd,
        QString::fromStdString(formatDuration(config.leaseSeconds))));
    showDevice();
}

void DashboardWindow::showSettings() {
    if (model_.settingsOpen() && !settingsDialog_->isVisible()) {
        settingsDialog_->setConfig(model_.config());
        settingsDialog_->open();
    } else if (!model_.settingsOpen() && settingsDialog_->isVisible()) {
        settingsDialog_->hide();
    }
}

void DashboardWindow::closeSettings(int result) {
    if (result == QDialog::Accepted) {
        if (const auto config = settingsDialog_->config()) {
            model_.setConfig(*config);
        }
    }
    model_.setSettingsOpen(false);
}

void DashboardWindow::showCommand() {
    if (const auto& failed = model_.failedCommand()) {
        commandDialog_->showFailure(
            *failed, model_.lastError() ? QString::fromStdString(*model_.lastError()) : QString());
    } else if (const auto& pending = model_.pendingCommand()) {
        if (!commandDialog_->isVisible() || commandDialog_->isFailure()) {
            commandDialog_->showConfirmation(*pending);
        }
        commandDialog_->setRunning(model_.isCommandRunning());
    } else if (model_.isCommandRunning() && commandDialog_->isVisible()) {
        commandDialog_->setRunning(true);
        return;
    } else {
        commandDialog_->hide();
        return;
    }
    if (!commandDialog_->isVisible()) {
        commandDialog_->open();
    }
}

void DashboardWindow::closeCommand() {
    if (commandDialog_->isFailure()) {
        model_.dismissFailedCommand();
    } else if (model_.pendingCommand() && !model_.isCommandRunning()) {
        model_.cancelPendingCommand();
    }
}

void DashboardWindow::showLeaseEditConfirmation() {
    const bool forget = model_.confirmForget().has_value();
    if (!forget && !model_.confirmClear()) {
        confirmation_->hide();
        return;
    }
    for (auto* button : confirmation_->buttons()) {
        confirmation_->removeButton(button);
        button->deleteLater();
    }
    confirmation_->setWindowTitle(gui_texts::applicationName);
    confirmation_->setText(forget ? gui_texts::toQString(app_texts::forgetTitle)
                                  : gui_texts::toQString(app_texts::clearTitle));
    confirmation_->setInformativeText(forget ? gui_texts::toQString(app_texts::forgetDetail)
                                             : gui_texts::toQString(app_texts::clearDetail));
    confirmation_->addButton(forget ? gui_texts::forgetLeaseConfirm
                                    : gui_texts::clearExpiredConfirm,
                             QMessageBox::AcceptRole);
    confirmation_->setDefaultButton(confirmation_->addButton(QMessageBox::Cancel));
    if (!confirmation_->isVisible()) {
        confirmation_->open();
    }
}

void DashboardWindow::answerLeaseEdit(int) {
    auto* clicked = confirmation_->clickedButton();
    const bool confirmed = clicked && confirmation_->buttonRole(clicked) == QMessageBox::AcceptRole;
    if (!confirmed) {
        model_.cancelLeaseEdit();
    } else if (model_.confirmForget()) {
        model_.confirmForgetLease();
    } else if (model_.confirmClear()) {
        model_.confirmClearExpired();
    }
}

void DashboardWindow::showTimeline() {
    const QString mac = leaseTable_->selectedMAC();
    const auto device = MACAddress::parse(mac.toStdString());
    timeline_->show(device ? mac : QString(), device ? model_.timeline(*device) : DeviceTimeline{});
}

void DashboardWindow::saveCapture() {
    const QString path =
        QFileDialog::getSaveFileName(this, gui_texts::saveCaptureTitle,
                                     QStringLiteral("corvane.pcap"), gui_texts::captureFileFilter);
    if (path.isEmpty()) {
        return;
    }
    if (const auto error = model_.saveCapture(path.toStdString())) {
        QMessageBox::warning(this, gui_texts::saveCaptureTitle, QString::fromStdString(*error));
    }
}

} // namespace corvane
