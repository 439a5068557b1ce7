#include "app/model/app_model_environment.hpp"

#include "core/config/settings_file.hpp"
#include "core/leases/lease_file.hpp"
#include "core/log/log_file_writer.hpp"

namespace corvane {

AppModelEnvironment AppModelEnvironment::forUser() {
    AppModelEnvironment environment;
    environment.clock = [] { return std::chrono::system_clock::now(); };
    environment.settingsPath = SettingsFile::defaultPath();
    environment.leaseFilePath = LeaseFile::defaultPath();
    environment.logDirectory = LogFileWriter::defaultDirectory();
    environment.host = HostQueries::real();
    environment.transportFor = [](const NetworkCard& card) {
        return TransportMode::interface(card.bsdName);
    };
    environment.updates = UpdateConfiguration::ofThisBuild();
    return environment;
}

} // namespace corvane
