#include <cerrno>
#include <set>

#include "app/model/app_model.hpp"
#include "app/model/app_texts.hpp"
#include "core/events/notice.hpp"
#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/log/event_log.hpp"
#include "core/log/local_time_zone.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/transport/transport_error.hpp"

namespace corvane {

namespace {

LogLine::Kind logKind(const ServerEvent& event) {
    if (event.is<ServerEvent::Received>()) {
        return LogLine::Kind::rx;
    }
    if (event.is<ServerEvent::Sent>()) {
        return LogLine::Kind::tx;
    }
    if (event.is<ServerEvent::Presence>()) {
        return LogLine::Kind::presence;
    }
    if (event.is<ServerEvent::Dropped>() || event.is<ServerEvent::NoticeRaised>()) {
        return LogLine::Kind::notice;
    }
    return LogLine::Kind::other;
}

} // namespace

void AppModel::start() {
    if (!canStart()) {
        return;
    }
    // A hand-edited settings file can hold a configuration the settings sheet would refuse.
    if (const auto problems = config_.validate(); !problems.empty()) {
        setLastError(app_texts::settingsInvalid(problems.front().description()));
        return;
    }
    if (!claimLeaseFile()) {
        return;
    }
    const NetworkCard card = *selectedCard();
    auto server = DHCPServer::create(
        DHCPServer::Options{config_, environment_.transportFor(card), card.mac,
                            LeaseFile(environment_.leaseFilePath), environment_.presenceEnabled,
                            settings_.syncLeaseWrites()},
        environment_.clock);
    try {
        server->start();
    } catch (const TransportError& error) {
        // The error's own text: it already names the call, the card and the system's
        // reason, and rewording it would hide what failed.
        if (error.code() == EADDRINUSE) {
            raisePortInUse(card.bsdName);
        } else {
            setLastError(error.description());
        }
        leaseLock_.reset();
        return;
    } catch (const std::exception& error) {
        setLastError(std::string(error.what()));
        leaseLock_.reset();
        return;
    }
    openRunChannels(card, server);
    setLastError(std::nullopt);
    runLog_.clear();
    state_.runStarted(card.bsdName);
    Q_EMIT stateChanged();
    server_ = server;
    servingCard_ = card;
    startedAt_ = now();
    reader_ =
        std::thread([this, server, control = control_.get()] { readEvents(server, control); });
    waitingHintTimer_.start();
    setRunning(true);
    announceDerivedChanges();
}

void AppModel::raisePortInUse(const std::string& cardName) {
    runWithTimeLimit<std::string>(
        lifeline_, environment_.hostQueryTimeLimit, std::string(host_texts::unknownPortHolder),
        [query = environment_.host.port67Holder, cardName] { return query(cardName); },
        [this](std::string holder) {
            state_.raise(Notice::portInUse(holder));
            Q_EMIT stateChanged();
        });
}

void AppModel::stop() {
    if (!server_) {
        return;
    }
    // The server reports its last events, `stopped` among them, before `stop` returns; they
    // are all handled here so that nothing of this run spills into the next one.
    if (control_) {
        control_->refuseRequests();
    }
    server_->stop();
    if (reader_.joinable()) {
        reader_.join();
    }
    drainEvents();
    endRun();
}

void AppModel::readEvents(std::shared_ptr<DHCPServer> server, ControlServer* control) {
    while (auto event = server->events().next()) {
        if (control != nullptr) {
            control->publish(*event, std::chrono::system_clock::now());
        }
        {
            std::lock_guard lock(inboxMutex_);
            inbox_.push_back(std::move(*event));
        }
        lifeline_->post([this] { drainEvents(); });
    }
}

void AppModel::drainEvents() {
    for (;;) {
        std::optional<ServerEvent> event;
        {
            std::lock_guard lock(inboxMutex_);
            if (inbox_.empty()) {
                return;
            }
            event = std::move(inbox_.front());
            inbox_.pop_front();
        }
        handle(*event);
    }
}

void AppModel::handle(const ServerEvent& event) {
    const auto at = now();
    if (auto line = EventLog::line(event, at, localTimeZone())) {
        logWriter_->append(*line, at);
        recordForTimeline(event, *line, logKind(event));
        appendLog(std::move(*line), logKind(event));
    }
    state_.apply(event, at);
    Q_EMIT stateChanged();
    if (event.is<ServerEvent::Link>()) {
        refreshCards();
    }
    if (event.is<ServerEvent::Stopped>() && isRunning_) {
        endRun();
    }
    announceDerivedChanges();
}

void AppModel::endRun() {
    if (auto server = std::move(server_)) {
        if (control_) {
            control_->refuseRequests();
        }
        server->stop();
    }
    if (reader_.joinable()) {
        reader_.join();
    }
    closeRunChannels();
    if (!isRunning_) {
        return;
    }
    startedAt_.reset();
    waitingHintTimer_.stop();
    setRunning(false);
    servingCard_.reset();
    // A card unplugged during the run is no longer there to choose.
    setSelectedCard(Interfaces::preferredCardID(
        cards_, selectedCardID_, settings_.selectedCardMAC(), false, showVirtualCards_));
    refreshChecks();
    announceDerivedChanges();
}

void AppModel::setRunning(bool running) {
    if (running == isRunning_) {
        return;
    }
    isRunning_ = running;
    Q_EMIT runningChanged();
    if (!running) {
        updates_->serverStopped();
    }
}

void AppModel::dismiss(NoticeKind kind) {
    state_.dismiss(kind);
    Q_EMIT stateChanged();
}

std::optional<PresenceState> AppModel::presence(const Lease& lease) const {
    const auto found = state_.presence.find(lease.ip);
    return found == state_.presence.end() ? std::nullopt : std::optional(found->second);
}

QString AppModel::tcpdumpCommand() const {
    const std::string interface = state_.serverInterface.value_or(
        selectedCardID_.value_or(std::string(app_texts::tcpdumpFallbackInterface)));
    return QString::fromStdString(std::string(app_texts::tcpdumpPrefix) + interface +
                                  std::string(app_texts::tcpdumpSuffix));
}

bool AppModel::showsWaitingHint(TimePoint now) const {
    return isRunning_ && !state_.lastPacketAt && startedAt_ && now - *startedAt_ > waitingHintDelay;
}

void AppModel::updateWaitingHint() {
    if (const bool shown = showsWaitingHint(now()); shown != waitingHintShown_) {
        waitingHintShown_ = shown;
        Q_EMIT waitingHintChanged();
    }
}

std::optional<IPv4Address> AppModel::nextAddress() const {
    const auto at = now();
    std::set<IPv4Address> held;
    for (const auto& [mac, lease] : state_.leases) {
        if (lease.holdsAddress(at)) {
            held.insert(lease.ip);
        }
    }
    const auto range = config_.range();
    for (std::uint64_t value = range.first.value(); value <= range.last.value(); ++value) {
        const IPv4Address candidate(static_cast<std::uint32_t>(value));
        if (candidate != config_.serverIP && !held.contains(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace corvane
