#include <filesystem>
#include <system_error>

#include <unistd.h>

#include "app/model/app_model.hpp"
#include "app/model/app_texts.hpp"
#include "core/control/control_error.hpp"
#include "core/control/control_socket_path.hpp"
#include "core/control/event_subject.hpp"
#include "core/control/server_control_handler.hpp"

namespace corvane {

bool AppModel::claimLeaseFile() {
    std::error_code ignored;
    std::filesystem::create_directories(environment_.leaseFilePath.parent_path(), ignored);
    leaseLock_ = std::make_unique<LeaseFileLock>(environment_.leaseFilePath);
    if (leaseLock_->state() == LeaseFileLock::State::inUseElsewhere) {
        leaseLock_.reset();
        setLastError(app_texts::leaseFileInUse(environment_.leaseFilePath.string()));
        return false;
    }
    return true;
}

// Neither is needed to serve: without them the run goes on, only less observable.
void AppModel::openRunChannels(const NetworkCard& card, const std::shared_ptr<DHCPServer>& server) {
    try {
        control_ = std::make_unique<ControlServer>(ControlSocketPath::forThisProcess(),
                                                   serverControlHandler(server));
        leaseLock_->announceControlSocket(control_->socketPath());
    } catch (const ControlError& error) {
        appendLabeled("INFO", error.what(), LogLine::Kind::notice);
    }
    discardCapture();
    try {
        const auto file = ControlSocketPath::privateDirectory() /
                          ("capture-" + std::to_string(::getpid()) + ".pcap");
        capture_ = std::make_unique<SessionCapture>(card.bsdName, file);
        captureFile_ = file;
    } catch (const std::exception&) {
        // Without cap_net_raw there is simply no capture to save.
    }
}

void AppModel::closeRunChannels() {
    control_.reset();
    capture_.reset();
    leaseLock_.reset();
}

void AppModel::discardCapture() {
    std::error_code ignored;
    if (!captureFile_.empty()) {
        std::filesystem::remove(captureFile_, ignored);
    }
    captureFile_.clear();
}

std::optional<std::string> AppModel::saveCapture(const std::filesystem::path& target) const {
    std::error_code error;
    std::filesystem::copy_file(captureFile_, target,
                               std::filesystem::copy_options::overwrite_existing, error);
    if (error) {
        return app_texts::captureNotSaved(target.string(), error.message());
    }
    return std::nullopt;
}

void AppModel::recordForTimeline(const ServerEvent& event, const std::string& line,
                                 LogLine::Kind kind) {
    runLog_.push_back({eventSubject(event), LogLine{nextLogID_, line, kind}});
    if (runLog_.size() > logCapacity) {
        runLog_.pop_front();
    }
}

DeviceTimeline AppModel::timeline(const MACAddress& device) const {
    return deviceTimeline(runLog_, device);
}

} // namespace corvane
