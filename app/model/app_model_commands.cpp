#include <QProcess>

#include "app/model/app_model.hpp"
#include "app/model/app_texts.hpp"
#include "core/events/notice_texts.hpp"
#include "core/host/host_setup.hpp"
#include "core/host/host_texts.hpp"
#include "core/leases/lease_file_error.hpp"
#include "core/server/dhcp_server.hpp"

namespace corvane {

namespace {

// The service the checks propose to configure, else the card's own.
std::string serviceOf(const NetworkCard& card, const std::vector<PreflightCheck>& checks) {
    for (const auto& check : checks) {
        if (check.fix) {
            return std::get<PreflightCheck::ConfigureAdapter>(*check.fix).service;
        }
    }
    return card.serviceName.value_or(card.bsdName);
}

} // namespace

void AppModel::requestConfigureAdapter() {
    prepareCommand(true);
}

void AppModel::requestRestoreDHCP() {
    prepareCommand(false);
}

void AppModel::prepareCommand(bool configure) {
    const auto* card = selectedCard();
    if (card == nullptr) {
        setLastError(std::string(app_texts::chooseCardFirst));
        return;
    }
    const auto service =
        configure ? serviceOf(*card, checks_) : card->serviceName.value_or(card->bsdName);
    // The card's own manager decides the command's form: a card NetworkManager does not
    // manage is set with iproute2 even where NetworkManager runs.
    const auto tool = HostSetup::toolFor(*card);
    PendingCommand pending{++nextCommandID_, "", {}, service};
    if (configure) {
        pending.title = app_texts::configureTitle(service, config_.serverIP, config_.prefixLength);
        pending.command = HostSetup::setManualCommand(service, config_.serverIP,
                                                      static_cast<int>(config_.prefixLength), tool);
    } else if (auto command = HostSetup::setDHCPCommand(service, tool)) {
        pending.title = app_texts::restoreTitle(service);
        pending.command = std::move(*command);
    } else {
        setLastError(app_texts::noDHCPToRestore(service));
        return;
    }
    pendingCommand_ = std::move(pending);
    Q_EMIT pendingCommandChanged();
}

void AppModel::run(PendingCommand command) {
    if (commandRunning_) {
        return;
    }
    // Running first, so that the confirmation turns into the running state instead of
    // closing when the pending command is taken.
    commandRunning_ = true;
    Q_EMIT commandRunningChanged();
    if (pendingCommand_ && pendingCommand_->id == command.id) {
        pendingCommand_.reset();
        Q_EMIT pendingCommandChanged();
    }
    using Outcome = std::optional<HostSetupError>;
    runInBackground<Outcome>(
        lifeline_, HostSetupError(std::string(host_texts::commandFailed)),
        [runAsAdministrator = environment_.host.runAsAdministrator, command]() -> Outcome {
            try {
                runAsAdministrator(command.service, command.command);
                return std::nullopt;
            } catch (const HostSetupError& error) {
                return error;
            }
        },
        [this, command](Outcome error) {
            commandRunning_ = false;
            Q_EMIT commandRunningChanged();
            if (!error) {
                appendLabeled(app_texts::adapterLabel,
                              app_texts::commandSucceeded(command.command.line()),
                              LogLine::Kind::other);
            } else if (error->isCancellation()) {
                appendLabeled(app_texts::adapterLabel,
                              app_texts::commandCancelled(error->message()), LogLine::Kind::other);
            } else {
                appendLabeled(app_texts::adapterLabel, app_texts::commandFailed(error->message()),
                              LogLine::Kind::notice);
                setLastError(error->message());
                failedCommand_ = command;
                Q_EMIT failedCommandChanged();
            }
            refreshCards();
        });
}

void AppModel::cancelPendingCommand() {
    if (pendingCommand_) {
        pendingCommand_.reset();
        Q_EMIT pendingCommandChanged();
    }
}

void AppModel::dismissFailedCommand() {
    if (failedCommand_) {
        failedCommand_.reset();
        // The failure was reported with the command; it is not repeated once that is closed.
        setLastError(std::nullopt);
        Q_EMIT failedCommandChanged();
    }
}

void AppModel::requestForget(const MACAddress& mac) {
    confirmForget_ = mac;
    Q_EMIT confirmForgetChanged();
}

void AppModel::confirmForgetLease() {
    if (!confirmForget_) {
        return;
    }
    const auto mac = *confirmForget_;
    confirmForget_.reset();
    Q_EMIT confirmForgetChanged();
    if (server_) {
        server_->forgetLease(mac);
    } else {
        editLeaseFile([&mac](LeaseTable& table) { table.remove(mac); });
    }
}

void AppModel::requestClearExpired() {
    confirmClear_ = true;
    Q_EMIT confirmClearChanged();
}

void AppModel::confirmClearExpired() {
    if (!confirmClear_) {
        return;
    }
    confirmClear_ = false;
    Q_EMIT confirmClearChanged();
    if (server_) {
        server_->clearInactive();
    } else {
        editLeaseFile([at = now()](LeaseTable& table) { table.clearInactive(at); });
    }
}

void AppModel::cancelLeaseEdit() {
    if (confirmForget_) {
        confirmForget_.reset();
        Q_EMIT confirmForgetChanged();
    }
    if (confirmClear_) {
        confirmClear_ = false;
        Q_EMIT confirmClearChanged();
    }
}

void AppModel::editLeaseFile(const std::function<void(LeaseTable&)>& edit) {
    try {
        auto loaded = leaseFile_.load(now());
        auto table = loaded.table;
        edit(table);
        // A damaged file went aside: what was kept from it must be written back.
        if (table != loaded.table || !loaded.droppedRecords.empty()) {
            leaseFile_.save(table);
        }
        state_.loadLeases(LeaseFile::LoadResult{table, loaded.setAsideURL, loaded.droppedRecords});
        Q_EMIT stateChanged();
    } catch (const LeaseFileError& error) {
        setLastError(error.what());
    }
}

// Only looks: a damaged file stays where it is until a server or an edit sets it aside.
void AppModel::loadLeasesForDisplay() {
    try {
        const auto shown = leaseFile_.read();
        state_.loadLeases(shown);
        if (!shown.droppedRecords.empty()) {
            appendLabeled(app_texts::leaseLabel,
                          notice_texts::leaseRecordsDropped(shown.table.leases().size() +
                                                                shown.table.quarantine().size(),
                                                            shown.droppedRecords),
                          LogLine::Kind::notice);
        }
        Q_EMIT stateChanged();
    } catch (const LeaseFileError& error) {
        appendLabeled(app_texts::leaseLabel, app_texts::couldNotReadLeases(error.what()),
                      LogLine::Kind::notice);
    }
}

void AppModel::openInBrowser(IPv4Address ip) const {
    QProcess::startDetached(QStringLiteral("xdg-open"),
                            {QString::fromStdString(app_texts::browserAddress(ip))});
}

} // namespace corvane
