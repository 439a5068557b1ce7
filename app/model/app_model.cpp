#include "app/model/app_model.hpp"

#include <QMetaObject>
#include <algorithm>
#include <utility>

#include "app/model/app_texts.hpp"
#include "app/model/update_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/preflight.hpp"
#include "core/server/dhcp_server.hpp"

namespace corvane {

AppModel::AppModel(AppModelEnvironment environment, QObject* parent)
    : QObject(parent), environment_(std::move(environment)), settings_(environment_.settingsPath),
      leaseFile_(environment_.leaseFilePath),
      logWriter_(std::make_unique<LogFileWriter>(
          environment_.logDirectory, localTimeZone(),
          // From the writer's thread: the line joins the live log on the model's own.
          [this](const std::string& problem) {
              QMetaObject::invokeMethod(
                  this, [this, problem] { appendLog(problem, LogLine::Kind::notice); },
                  Qt::QueuedConnection);
          })),
      lifeline_(std::make_shared<Lifeline>(this)) {
    sinceLaunch_.start();
    config_ = settings_.serverConfig();
    showVirtualCards_ = settings_.showVirtualCards();
    updates_ = std::make_unique<UpdateController>(
        environment_.updates, [this] { return isRunning_; },
        [this](const std::string& text) {
            appendLabeled(update_texts::logLabel, text, LogLine::Kind::other);
        },
        [this] { return settings_.updateFeedOverride(); }, settings_.path().string());
    cardRetry_.setSingleShot(true);
    cardRetry_.setInterval(environment_.cardListRetryDelay);
    connect(&cardRetry_, &QTimer::timeout, this, [this] { refreshCards(); });
    waitingHintTimer_.setInterval(std::chrono::seconds{1});
    connect(&waitingHintTimer_, &QTimer::timeout, this, [this] { updateWaitingHint(); });
}

AppModel::~AppModel() {
    lifeline_->cut();
    if (monitor_) {
        monitor_->stop();
    }
    if (control_) {
        control_->refuseRequests();
    }
    if (server_) {
        server_->stop();
    }
    if (reader_.joinable()) {
        reader_.join();
    }
    closeRunChannels();
    discardCapture();
}

void AppModel::bootstrap() {
    if (bootstrapped_) {
        return;
    }
    bootstrapped_ = true;
    listCards([this] {
        loadLeasesForDisplay();
        startWatchingInterfaces();
        updates_->start();
        finishLaunch();
    });
}

void AppModel::finishLaunch() {
    const auto spent = std::chrono::milliseconds{sinceLaunch_.elapsed()};
    const auto remaining = environment_.launchMinimum - spent;
    auto becomeReady = [this] {
        phase_ = Phase::ready;
        Q_EMIT phaseChanged();
    };
    if (remaining > std::chrono::milliseconds::zero()) {
        QTimer::singleShot(remaining, this, becomeReady);
    } else {
        becomeReady();
    }
}

void AppModel::startWatchingInterfaces() {
    if (!environment_.watchInterfaces || monitor_) {
        return;
    }
    // The monitor calls back on its own thread; the refresh itself happens on ours.
    monitor_ = std::make_unique<InterfaceMonitor>(
        [lifeline = lifeline_, this] { lifeline->post([this] { refreshCards(); }); });
    monitor_->start();
}

void AppModel::refreshCards() {
    listCards({});
}

void AppModel::listCards(const std::function<void()>& afterwards) {
    const auto request = ++cardRequest_;
    // `afterwards` runs once, at the answer or at the time limit, whichever comes first; a
    // listing that misses the limit keeps the previous list, is retried, and still counts
    // when it arrives late unless a newer one has answered meanwhile.
    auto pending = std::make_shared<std::function<void()>>(afterwards);
    auto proceed = [pending] {
        if (auto next = std::exchange(*pending, {})) {
            next();
        }
    };
    QTimer::singleShot(environment_.hostQueryTimeLimit, this, [this, request, proceed] {
        if (request > answeredCardRequest_) {
            cardRetry_.start();
        }
        proceed();
    });
    using Listing = std::optional<std::vector<NetworkCard>>;
    runInBackground<Listing>(
        lifeline_, std::nullopt, [list = environment_.host.listCards] { return Listing(list()); },
        [this, request, proceed](Listing cards) {
            if (!cards) {
                cardRetry_.start();
            } else if (request > answeredCardRequest_) {
                answeredCardRequest_ = request;
                takeCards(std::move(*cards));
            }
            proceed();
        });
}

void AppModel::takeCards(std::vector<NetworkCard> cards) {
    if (cards == cards_) {
        reselectAfterListing();
        return;
    }
    cards_ = std::move(cards);
    // The served card follows the list, and reads as without link once it has left it.
    if (servingCard_) {
        if (const auto* listed = cardWithID(servingCard_->id())) {
            servingCard_ = *listed;
        } else {
            servingCard_->linkUp = false;
            servingCard_->media.reset();
        }
    }
    Q_EMIT cardsChanged();
    reselectAfterListing();
}

void AppModel::reselectAfterListing() {
    setSelectedCard(Interfaces::preferredCardID(
        cards_, selectedCardID_, settings_.selectedCardMAC(), isRunning_, showVirtualCards_));
    refreshChecks();
    announceDerivedChanges();
}

void AppModel::refreshChecks() {
    // While serving, the server itself holds port 67 and the checks could only fail; they
    // are gathered again when it stops.
    if (isRunning_) {
        return;
    }
    const auto* card = selectedCard();
    const auto request = ++checksRequest_;
    if (card == nullptr) {
        takeChecks({});
        return;
    }
    if (checksInFlight_++ == 0) {
        Q_EMIT checkingChanged();
    }
    lookForOtherServer(*card);
    runWithTimeLimit<std::vector<PreflightCheck>>(
        lifeline_, environment_.checksTimeLimit, {},
        [runChecks = environment_.host.runChecks, card = *card, config = config_,
         showVirtual = showVirtualCards_] { return runChecks(card, config, showVirtual); },
        [this, request](std::vector<PreflightCheck> checks) {
            if (--checksInFlight_ == 0) {
                Q_EMIT checkingChanged();
            }
            if (request == checksRequest_) {
                takeChecks(withOtherServer(std::move(checks)));
            }
        });
}

void AppModel::takeChecks(std::vector<PreflightCheck> checks) {
    if (checks != checks_) {
        checks_ = std::move(checks);
        Q_EMIT checksChanged();
    }
    announceDerivedChanges();
}

void AppModel::discardChecks() {
    if (!checks_.empty()) {
        checks_.clear();
        Q_EMIT checksChanged();
    }
}

std::vector<NetworkCard> AppModel::offeredCards() const {
    auto offered = Interfaces::offered(cards_, showDisconnected_, showVirtualCards_);
    // The chosen card is always on offer, also without link (the usual state before the
    // device is plugged in) and, while serving, after it has left the host's list: the
    // picker never shows less than the model uses. Cards without link come last anyway.
    const auto* chosen = selectedCard();
    if (chosen != nullptr &&
        std::none_of(offered.begin(), offered.end(),
                     [chosen](const NetworkCard& card) { return card.id() == chosen->id(); })) {
        offered.push_back(*chosen);
    }
    return offered;
}

void AppModel::setShowDisconnected(bool show) {
    if (show != showDisconnected_) {
        showDisconnected_ = show;
        Q_EMIT showDisconnectedChanged();
        Q_EMIT cardsChanged();
    }
}

void AppModel::setShowVirtualCards(bool show) {
    if (show == showVirtualCards_) {
        return;
    }
    showVirtualCards_ = show;
    try {
        settings_.setShowVirtualCards(show);
    } catch (const SettingsFileError& error) {
        setLastError(error.what());
    }
    Q_EMIT showVirtualCardsChanged();
    Q_EMIT cardsChanged();
    refreshCards();
}

const NetworkCard* AppModel::selectedCard() const {
    if (!selectedCardID_) {
        return nullptr;
    }
    if (const auto* listed = cardWithID(*selectedCardID_)) {
        return listed;
    }
    // A run keeps its card even while the host no longer lists it (unplugged).
    return isRunning_ && servingCard_ && servingCard_->id() == *selectedCardID_ ? &*servingCard_
                                                                                : nullptr;
}

const NetworkCard* AppModel::cardWithID(const std::string& cardID) const {
    const auto found =
        std::find_if(cards_.begin(), cards_.end(),
                     [&cardID](const NetworkCard& card) { return card.id() == cardID; });
    return found == cards_.end() ? nullptr : &*found;
}

void AppModel::selectCard(const std::string& cardID) {
    if (isRunning_) {
        return;
    }
    const auto* found = cardWithID(cardID);
    if (found == nullptr) {
        return;
    }
    try {
        settings_.setSelectedCardMAC(found->mac);
    } catch (const SettingsFileError& error) {
        setLastError(error.what());
    }
    setSelectedCard(cardID);
    refreshChecks();
    announceDerivedChanges();
}

void AppModel::setSelectedCard(std::optional<std::string> cardID) {
    if (cardID == selectedCardID_) {
        return;
    }
    selectedCardID_ = std::move(cardID);
    // The checks describe the card they were gathered for.
    discardChecks();
    Q_EMIT selectedCardChanged();
}

std::vector<ConfigError> AppModel::setConfig(const ServerConfig& config) {
    auto errors = config.validate();
    if (!errors.empty() || config == config_) {
        return errors;
    }
    // Kept in memory even when it cannot be saved, so the next start uses what the user
    // typed; the error says what to do about the file.
    try {
        settings_.setServerConfig(config);
    } catch (const SettingsFileError& error) {
        setLastError(error.what());
    }
    config_ = config;
    Q_EMIT configChanged();
    discardChecks();
    refreshChecks();
    announceDerivedChanges();
    return errors;
}

bool AppModel::canStart() const {
    return !isRunning_ && selectedCard() != nullptr && !checks_.empty() &&
           Preflight::canStart(checks_);
}

void AppModel::setSettingsOpen(bool open) {
    if (open != settingsOpen_) {
        settingsOpen_ = open;
        Q_EMIT settingsOpenChanged();
    }
}

void AppModel::setLastError(std::optional<std::string> error) {
    if (error != lastError_) {
        lastError_ = std::move(error);
        Q_EMIT lastErrorChanged();
    }
}

void AppModel::clearLastError() {
    setLastError(std::nullopt);
}

void AppModel::announceDerivedChanges() {
    if (const bool now = canStart(); now != lastCanStart_) {
        lastCanStart_ = now;
        Q_EMIT canStartChanged();
    }
    if (auto command = tcpdumpCommand(); command != lastTcpdumpCommand_) {
        lastTcpdumpCommand_ = std::move(command);
        Q_EMIT tcpdumpCommandChanged();
    }
    updateWaitingHint();
}

} // namespace corvane
