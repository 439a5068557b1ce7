#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/model/app_model_environment.hpp"
#include "app/model/background_work.hpp"
#include "app/model/device_timeline.hpp"
#include "app/model/log_line.hpp"
#include "app/model/pending_command.hpp"
#include "app/model/update_controller.hpp"
#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/capture/session_capture.hpp"
#include "core/config/server_config.hpp"
#include "core/config/settings_file.hpp"
#include "core/control/control_server.hpp"
#include "core/control/lease_file_lock.hpp"
#include "core/events/corvane_state.hpp"
#include "core/events/notice_kind.hpp"
#include "core/events/server_event.hpp"
#include "core/host/interface_monitor.hpp"
#include "core/host/network_card.hpp"
#include "core/host/preflight_check.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_file.hpp"
#include "core/log/log_file_writer.hpp"
#include "core/presence/presence_state.hpp"

namespace corvane {

class DHCPServer;

// The one observable object behind every screen. It owns the server while it runs, the run
// state the screens draw, the on-screen log, the card list and the preflight checks, and it
// turns the user's actions into calls on the core.
//
// Lives on the Qt main thread and is only ever called there. Blocking host work (card
// lists, preflight gathering, administrator commands) runs on threads of its own and comes
// back through the event loop; server events are read on a reader thread and handed over
// the same way. Every change is announced by the NOTIFY signal of what changed.
class AppModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(std::vector<corvane::NetworkCard> cards READ cards NOTIFY cardsChanged)
    Q_PROPERTY(std::vector<corvane::NetworkCard> offeredCards READ offeredCards NOTIFY cardsChanged)
    Q_PROPERTY(bool showDisconnected READ showDisconnected WRITE setShowDisconnected NOTIFY
                   showDisconnectedChanged)
    Q_PROPERTY(bool showVirtualCards READ showVirtualCards WRITE setShowVirtualCards NOTIFY
                   showVirtualCardsChanged)
    Q_PROPERTY(
        std::optional<std::string> selectedCardID READ selectedCardID NOTIFY selectedCardChanged)
    Q_PROPERTY(corvane::ServerConfig config READ config NOTIFY configChanged)
    Q_PROPERTY(std::vector<corvane::PreflightCheck> checks READ checks NOTIFY checksChanged)
    Q_PROPERTY(bool checking READ isChecking NOTIFY checkingChanged)
    Q_PROPERTY(bool canStart READ canStart NOTIFY canStartChanged)
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY runningChanged)
    Q_PROPERTY(corvane::CorvaneState state READ state NOTIFY stateChanged)
    Q_PROPERTY(std::vector<corvane::LogLine> visibleLog READ visibleLog NOTIFY logChanged)
    Q_PROPERTY(QString logFilter READ logFilter WRITE setLogFilter NOTIFY logFilterChanged)
    Q_PROPERTY(bool logPaused READ logPaused WRITE setLogPaused NOTIFY logPausedChanged)
    Q_PROPERTY(bool settingsOpen READ settingsOpen WRITE setSettingsOpen NOTIFY settingsOpenChanged)
    Q_PROPERTY(std::optional<std::string> lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(std::optional<corvane::PendingCommand> pendingCommand READ pendingCommand NOTIFY
                   pendingCommandChanged)
    Q_PROPERTY(std::optional<corvane::PendingCommand> failedCommand READ failedCommand NOTIFY
                   failedCommandChanged)
    Q_PROPERTY(bool commandRunning READ isCommandRunning NOTIFY commandRunningChanged)
    Q_PROPERTY(std::optional<corvane::MACAddress> confirmForget READ confirmForget NOTIFY
                   confirmForgetChanged)
    Q_PROPERTY(bool confirmClear READ confirmClear NOTIFY confirmClearChanged)
    Q_PROPERTY(QString tcpdumpCommand READ tcpdumpCommand NOTIFY tcpdumpCommandChanged)
    Q_PROPERTY(bool waitingHintShown READ waitingHintShown NOTIFY waitingHintChanged)

public:
    enum class Phase { launching, ready };
    Q_ENUM(Phase)

    // The on-screen log keeps this many lines; the log file keeps everything.
    static constexpr std::size_t logCapacity = 5000;
    // A run with no packet for longer than this shows the waiting hint.
    static constexpr std::chrono::seconds waitingHintDelay{60};

    explicit AppModel(AppModelEnvironment environment, QObject* parent = nullptr);
    // Stops a running server (its leases are saved) and the interface monitor.
    ~AppModel() override;
    AppModel(const AppModel&) = delete;
    AppModel& operator=(const AppModel&) = delete;

    // Lists the cards, picks one, reads the lease file for display, starts watching the
    // host's interfaces and the update schedule; `phase` turns `ready` afterwards, not sooner
    // than the launch minimum after construction.
    void bootstrap();
    // Lists the cards again (under a time limit, off the main thread) and then the checks.
    void refreshCards();
    // Gathers and evaluates the checks for the selected card, off the main thread.
    void refreshChecks();

    Phase phase() const { return phase_; }
    // Every card the host has, as last listed.
    const std::vector<NetworkCard>& cards() const { return cards_; }
    // The cards the picker offers, given the two switches, and always the chosen card.
    std::vector<NetworkCard> offeredCards() const;
    bool showDisconnected() const { return showDisconnected_; }
    void setShowDisconnected(bool show);
    // Saved in the settings file; switching it lists the cards again.
    bool showVirtualCards() const { return showVirtualCards_; }
    void setShowVirtualCards(bool show);
    const std::optional<std::string>& selectedCardID() const { return selectedCardID_; }
    // The chosen card as last listed; while serving, the served card even once it is gone.
    const NetworkCard* selectedCard() const;
    // The user's choice: remembered by the card's MAC in the settings file.
    void selectCard(const std::string& cardID);

    const ServerConfig& config() const { return config_; }
    // Saves a valid configuration and checks the card against it again. An invalid one is
    // refused with its messages and nothing changes.
    std::vector<ConfigError> setConfig(const ServerConfig& config);

    const std::vector<PreflightCheck>& checks() const { return checks_; }
    bool isChecking() const { return checksInFlight_ > 0; }
    bool canStart() const;
    bool isRunning() const { return isRunning_; }
    const std::optional<TimePoint>& startedAt() const { return startedAt_; }
    // Serves DHCP on the selected card. Does nothing when `canStart` is false.
    void start();
    void stop();

    const CorvaneState& state() const { return state_; }
    // Logs one server event, folds it into the run state and reacts to links and the end.
    void handle(const ServerEvent& event);
    void dismiss(NoticeKind kind);
    std::optional<PresenceState> presence(const Lease& lease) const;

    // The on-screen log. `log` keeps arriving while paused; `visibleLog` is what is shown.
    const std::deque<LogLine>& log() const { return log_; }
    std::vector<LogLine> visibleLog() const;
    void appendLog(std::string text, LogLine::Kind kind);
    // Writes a line under the label to the on-screen log and the day's file.
    void appendLabeled(std::string_view label, std::string_view text, LogLine::Kind kind);
    void clearLog();
    QString logFilter() const { return logFilter_; }
    void setLogFilter(const QString& filter);
    bool logPaused() const { return pausedLog_.has_value(); }
    void setLogPaused(bool paused);
    std::int64_t nextLogID() const { return nextLogID_; }

    bool settingsOpen() const { return settingsOpen_; }
    void setSettingsOpen(bool open);
    const std::optional<std::string>& lastError() const { return lastError_; }
    void clearLastError();

    QString tcpdumpCommand() const;
    // The DHCP packets of the current (or last) run, recorded as it goes.
    bool hasCapture() const { return !captureFile_.empty(); }
    // Copies the run's capture to `target`; the error as a sentence when it fails.
    std::optional<std::string> saveCapture(const std::filesystem::path& target) const;
    // The selected device's exchanges of this run, from the on-screen log.
    DeviceTimeline timeline(const MACAddress& device) const;
    bool showsWaitingHint(TimePoint now) const;
    bool waitingHintShown() const { return waitingHintShown_; }
    // The address the next device will get, if any is free.
    std::optional<IPv4Address> nextAddress() const;
    TimePoint now() const { return environment_.clock(); }

    // Administrator commands: prepared for confirmation, then run off the main thread.
    void requestConfigureAdapter();
    void requestRestoreDHCP();
    const std::optional<PendingCommand>& pendingCommand() const { return pendingCommand_; }
    const std::optional<PendingCommand>& failedCommand() const { return failedCommand_; }
    bool isCommandRunning() const { return commandRunning_; }
    void run(PendingCommand command);
    void cancelPendingCommand();
    void dismissFailedCommand();

    // Lease edits, each behind its confirmation: on the lease file while stopped, through
    // the server while it runs.
    void requestForget(const MACAddress& mac);
    const std::optional<MACAddress>& confirmForget() const { return confirmForget_; }
    void confirmForgetLease();
    void requestClearExpired();
    bool confirmClear() const { return confirmClear_; }
    void confirmClearExpired();
    void cancelLeaseEdit();

    // Opens http://{ip}/ in the user's web browser.
    void openInBrowser(IPv4Address ip) const;

    // Where the daily log files are written.
    const std::filesystem::path& logFolder() const { return environment_.logDirectory; }

    UpdateController& updates() { return *updates_; }
    const SettingsFile& settings() const { return settings_; }

Q_SIGNALS:
    void phaseChanged();
    void cardsChanged();
    void showDisconnectedChanged();
    void showVirtualCardsChanged();
    void selectedCardChanged();
    void configChanged();
    void checksChanged();
    void checkingChanged();
    void canStartChanged();
    void runningChanged();
    void stateChanged();
    void logChanged();
    void logFilterChanged();
    void logPausedChanged();
    void settingsOpenChanged();
    void lastErrorChanged();
    void pendingCommandChanged();
    void failedCommandChanged();
    void commandRunningChanged();
    void confirmForgetChanged();
    void confirmClearChanged();
    void tcpdumpCommandChanged();
    void waitingHintChanged();

private:
    void finishLaunch();
    void listCards(const std::function<void()>& afterwards);
    void takeCards(std::vector<NetworkCard> cards);
    void reselectAfterListing();
    void takeChecks(std::vector<PreflightCheck> checks);
    // Drops the checks once they no longer describe the card or the configuration.
    void discardChecks();
    const NetworkCard* cardWithID(const std::string& cardID) const;
    void setSelectedCard(std::optional<std::string> cardID);
    void loadLeasesForDisplay();
    void startWatchingInterfaces();
    void raisePortInUse(const std::string& cardName);
    void readEvents(std::shared_ptr<DHCPServer> server, ControlServer* control);
    bool claimLeaseFile();
    void lookForOtherServer(const NetworkCard& card);
    std::vector<PreflightCheck> withOtherServer(std::vector<PreflightCheck> checks) const;
    void openRunChannels(const NetworkCard& card, const std::shared_ptr<DHCPServer>& server);
    void closeRunChannels();
    void discardCapture();
    void recordForTimeline(const ServerEvent& event, const std::string& line, LogLine::Kind kind);
    void drainEvents();
    void endRun();
    void setRunning(bool running);
    void setLastError(std::optional<std::string> error);
    void prepareCommand(bool configure);
    void editLeaseFile(const std::function<void(LeaseTable&)>& edit);
    void announceDerivedChanges();
    void updateWaitingHint();

    AppModelEnvironment environment_;
    SettingsFile settings_;
    LeaseFile leaseFile_;
    std::unique_ptr<LogFileWriter> logWriter_;
    std::shared_ptr<Lifeline> lifeline_;
    QElapsedTimer sinceLaunch_;

    bool bootstrapped_ = false;
    Phase phase_ = Phase::launching;
    std::vector<NetworkCard> cards_;
    bool showDisconnected_ = false;
    bool showVirtualCards_ = false;
    std::optional<std::string> selectedCardID_;
    // The card as it was when the run started, without link once the host stops listing it.
    std::optional<NetworkCard> servingCard_;
    ServerConfig config_;
    std::vector<PreflightCheck> checks_;
    bool isRunning_ = false;
    CorvaneState state_;
    std::deque<LogLine> log_;
    std::optional<std::vector<LogLine>> pausedLog_;
    QString logFilter_;
    std::int64_t nextLogID_ = 0;
    std::optional<TimePoint> startedAt_;
    bool settingsOpen_ = false;
    std::optional<std::string> lastError_;
    std::optional<PendingCommand> pendingCommand_;
    std::optional<PendingCommand> failedCommand_;
    std::int64_t nextCommandID_ = 0;
    bool commandRunning_ = false;
    std::optional<MACAddress> confirmForget_;
    bool confirmClear_ = false;

    // Only the newest checks count. A card listing counts unless a newer one has answered.
    std::uint64_t cardRequest_ = 0;
    std::uint64_t answeredCardRequest_ = 0;
    QTimer cardRetry_;
    std::uint64_t checksRequest_ = 0;
    // The last active look for another DHCP server, and what it was made for: it takes
    // seconds and sends a packet, so it runs only when the card or the settings change.
    struct OtherServerLook {
        std::string cardID;
        ServerConfig config;
        std::optional<OtherServerResult> result;
    };
    std::optional<OtherServerLook> otherServer_;
    int checksInFlight_ = 0;

    std::unique_ptr<UpdateController> updates_;
    std::unique_ptr<InterfaceMonitor> monitor_;
    std::shared_ptr<DHCPServer> server_;
    // What a run shares with other programs: the lease file's lock (as `corvane serve`
    // takes it), the control socket that lets them reach the server, and the capture.
    std::unique_ptr<LeaseFileLock> leaseLock_;
    std::unique_ptr<ControlServer> control_;
    std::unique_ptr<SessionCapture> capture_;
    std::filesystem::path captureFile_;
    // This run's lines with the device each is about, for the device timeline; as long as
    // the on-screen log.
    std::deque<AttributedLine> runLog_;
    std::thread reader_;
    // Events the reader has taken from the server's stream and not yet handled.
    std::mutex inboxMutex_;
    std::deque<ServerEvent> inbox_;

    bool lastCanStart_ = false;
    QString lastTcpdumpCommand_;
    bool waitingHintShown_ = false;
    QTimer waitingHintTimer_;
};

} // namespace corvane
