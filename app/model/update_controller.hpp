#pragma once

#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <functional>
#include <optional>
#include <string>

#include "app/model/update_check_kind.hpp"
#include "app/model/update_configuration.hpp"
#include "app/model/update_error.hpp"

class QNetworkReply;

namespace corvane {

// Checks an appcast feed for a newer version of the program, on a schedule and when the user
// asks, and keeps the schedule quiet while the DHCP server serves: a background check refused
// then is owed and runs once the server stops. It only announces what it finds; installing
// is left to the system's package manager.
//
// Lives on the thread of the application model, which it asks whether the server runs.
class UpdateController : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    using ServerRunningQuery = std::function<bool()>;
    using LogSink = std::function<void(const std::string& text)>;
    // The feed a tester put in the settings to replace the built-in one, read when asked.
    using FeedOverride = std::function<std::optional<std::string>()>;

    // `settingsLocation` names where the override lives, for the line telling how to undo it.
    UpdateController(UpdateConfiguration configuration, ServerRunningQuery isServerRunning,
                     LogSink log, FeedOverride feedOverride, std::string settingsLocation,
                     QObject* parent = nullptr);
    ~UpdateController() override;

    // Off unless this build has both a feed and the key that signs it.
    bool isConfigured() const { return configured_; }
    bool canCheckForUpdates() const { return canCheckForUpdates_; }
    bool checkOwed() const { return checkOwed_; }

    // Begins the automatic schedule (when switched on); until then only the user can check.
    void start();
    // Help > Check for Updates...: always allowed, also while serving.
    void checkForUpdates();
    // The schedule's check; refused and owed while the server runs.
    void checkInBackground();
    // Ends a check in progress quietly, as if it had not been asked for.
    void cancelCheck();
    // Called by the application model when its running flag turns false.
    void serverStopped();

    // The three questions a self-updater asks of its host.
    bool mayPerformCheck(UpdateCheckKind kind);
    std::optional<std::string> feedURLOverride();
    void checkAborted(const UpdateError& error);

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    // The feed announces a newer version; `page` is where to download it.
    void updateAvailable(const QString& version, const QUrl& page);
    // A check the user asked for found nothing newer.
    void upToDate();
    // Any check, of either kind, has ended.
    void checkFinished();

private:
    void check(UpdateCheckKind kind);
    void finish(QNetworkReply* reply, UpdateCheckKind kind);
    void report(const QByteArray& document, UpdateCheckKind kind);
    // Why a downloaded feed must not be read, if it must not.
    std::optional<UpdateError> signatureError(const QByteArray& document) const;
    void setCanCheck(bool canCheck);

    UpdateConfiguration configuration_;
    ServerRunningQuery isServerRunning_;
    LogSink log_;
    FeedOverride feedOverride_;
    std::string settingsLocation_;
    bool configured_ = false;
    bool started_ = false;
    bool canCheckForUpdates_ = false;
    bool checkOwed_ = false;
    bool overrideLogged_ = false;
    QNetworkAccessManager network_;
    QPointer<QNetworkReply> inFlight_;
    QTimer transferLimit_;
    bool timedOut_ = false;
    QTimer schedule_;
};

} // namespace corvane
