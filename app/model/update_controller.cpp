#include "app/model/update_controller.hpp"

#include <QNetworkReply>
#include <QNetworkRequest>
#include <variant>

#include "app/model/appcast.hpp"
#include "app/model/feed_signature.hpp"
#include "app/model/update_error_text.hpp"
#include "app/model/update_policy.hpp"
#include "app/model/update_texts.hpp"
#include "core/config/settings_file.hpp"

namespace corvane {

namespace {

UpdateError updaterError(int code, std::string_view description) {
    return UpdateError{std::string(update_texts::updaterDomain), code, std::string(description),
                       nullptr};
}

} // namespace

UpdateController::UpdateController(UpdateConfiguration configuration,
                                   ServerRunningQuery isServerRunning, LogSink log,
                                   FeedOverride feedOverride, std::string settingsLocation,
                                   QObject* parent)
    : QObject(parent), configuration_(std::move(configuration)),
      isServerRunning_(std::move(isServerRunning)), log_(std::move(log)),
      feedOverride_(std::move(feedOverride)), settingsLocation_(std::move(settingsLocation)) {
    // No key, no updates: a feed that cannot be verified is never read, and a test feed in
    // the settings only replaces the address of a feed this build can verify.
    configured_ = !configuration_.feedURL.empty() && !configuration_.publicKey.empty();
    connect(&schedule_, &QTimer::timeout, this, [this] {
        schedule_.setInterval(configuration_.checkInterval);
        checkInBackground();
    });
    transferLimit_.setSingleShot(true);
    connect(&transferLimit_, &QTimer::timeout, this, [this] {
        if (inFlight_) {
            timedOut_ = true;
            inFlight_->abort();
        }
    });
}

UpdateController::~UpdateController() {
    if (inFlight_) {
        inFlight_->disconnect(this);
        inFlight_->abort();
    }
}

void UpdateController::start() {
    if (!configured_ || started_) {
        return;
    }
    started_ = true;
    setCanCheck(true);
    if (configuration_.automaticChecks) {
        schedule_.start(configuration_.firstCheckDelay);
    }
}

void UpdateController::checkForUpdates() {
    if (canCheckForUpdates_) {
        check(UpdateCheckKind::userInitiated);
    }
}

void UpdateController::checkInBackground() {
    if (configured_ && !inFlight_) {
        check(UpdateCheckKind::background);
    }
}

void UpdateController::cancelCheck() {
    if (inFlight_) {
        inFlight_->abort();
    }
}

void UpdateController::serverStopped() {
    if (!checkOwed_ || !configured_) {
        return;
    }
    checkOwed_ = false;
    if (configuration_.automaticChecks) {
        checkInBackground();
    }
}

bool UpdateController::mayPerformCheck(UpdateCheckKind kind) {
    if (UpdatePolicy::mayCheck(kind, isServerRunning_())) {
        return true;
    }
    if (!checkOwed_) {
        log_(std::string(update_texts::checkDeferred));
    }
    checkOwed_ = true;
    return false;
}

std::optional<std::string> UpdateController::feedURLOverride() {
    auto feed = feedOverride_();
    if (feed && !overrideLogged_) {
        overrideLogged_ = true;
        log_(update_texts::usingTestFeed(*feed, settingsLocation_,
                                         SettingsFile::updateFeedOverrideKey));
    }
    return feed;
}

void UpdateController::checkAborted(const UpdateError& error) {
    if (error.domain == update_texts::policyDomain) {
        return;
    }
    if (error.domain == update_texts::updaterDomain &&
        (error.code == update_texts::noUpdateCode || error.code == update_texts::cancelledCode)) {
        return;
    }
    log_(update_texts::checkFailed(UpdateErrorText::describe(error)));
}

void UpdateController::check(UpdateCheckKind kind) {
    if (inFlight_) {
        return;
    }
    if (!mayPerformCheck(kind)) {
        checkAborted(UpdateError{std::string(update_texts::policyDomain),
                                 update_texts::deferredCode,
                                 std::string(update_texts::deferredDescription), nullptr});
        return;
    }
    const auto feed = feedURLOverride().value_or(configuration_.feedURL);
    QNetworkRequest request(QUrl(QString::fromStdString(feed)));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    timedOut_ = false;
    inFlight_ = network_.get(request);
    transferLimit_.start(configuration_.transferTimeLimit);
    setCanCheck(false);
    QNetworkReply* reply = inFlight_;
    connect(reply, &QNetworkReply::finished, this, [this, reply, kind] { finish(reply, kind); });
}

void UpdateController::finish(QNetworkReply* reply, UpdateCheckKind kind) {
    reply->deleteLater();
    inFlight_ = nullptr;
    transferLimit_.stop();
    setCanCheck(started_);
    if (reply->error() == QNetworkReply::OperationCanceledError && !timedOut_) {
        checkAborted(updaterError(update_texts::cancelledCode, update_texts::cancelledDescription));
    } else if (reply->error() != QNetworkReply::NoError) {
        const auto cause = timedOut_
                               ? update_texts::noAnswerWithin(configuration_.transferTimeLimit)
                               : reply->errorString().toStdString();
        checkAborted(
            updaterError(update_texts::downloadFailedCode, update_texts::downloadFailedDescription)
                .causedBy(UpdateError{std::string(update_texts::networkDomain),
                                      static_cast<int>(reply->error()), cause, nullptr}));
    } else {
        report(reply->readAll(), kind);
    }
    Q_EMIT checkFinished();
}

std::optional<UpdateError> UpdateController::signatureError(const QByteArray& document) const {
    switch (FeedSignature::verify(document, configuration_.publicKey)) {
    case FeedSignature::Verdict::valid:
        return std::nullopt;
    case FeedSignature::Verdict::notSigned:
        return updaterError(update_texts::unsignedFeedCode, update_texts::unsignedFeedDescription);
    case FeedSignature::Verdict::mismatch:
        return updaterError(update_texts::badSignatureCode, update_texts::badSignatureDescription);
    case FeedSignature::Verdict::unusableKey:
        break;
    }
    return updaterError(update_texts::unusableKeyCode, update_texts::unusableKeyDescription);
}

void UpdateController::report(const QByteArray& document, UpdateCheckKind kind) {
    if (const auto error = signatureError(document)) {
        checkAborted(*error);
        return;
    }
    auto parsed = Appcast::parse(document);
    if (const auto* error = std::get_if<Appcast::ParseError>(&parsed)) {
        checkAborted(
            updaterError(update_texts::unreadableFeedCode, update_texts::unreadableFeedDescription)
                .causedBy(UpdateError{std::string(update_texts::appcastDomain), 1,
                                      error->description, nullptr}));
        return;
    }
    const auto newest = std::get<Appcast>(parsed).newestAfter(configuration_.currentVersion);
    if (!newest) {
        if (kind == UpdateCheckKind::userInitiated) {
            Q_EMIT upToDate();
        }
        checkAborted(updaterError(update_texts::noUpdateCode, update_texts::noUpdateDescription));
        return;
    }
    log_(update_texts::updateAvailable(newest->version, newest->page));
    Q_EMIT updateAvailable(QString::fromStdString(newest->version),
                           QUrl(QString::fromStdString(newest->page)));
}

void UpdateController::setCanCheck(bool canCheck) {
    if (canCheck != canCheckForUpdates_) {
        canCheckForUpdates_ = canCheck;
        Q_EMIT canCheckForUpdatesChanged(canCheck);
    }
}

} // namespace corvane
