#include "app/model/update_configuration.hpp"

namespace corvane {

UpdateConfiguration UpdateConfiguration::ofThisBuild() {
    UpdateConfiguration configuration;
    configuration.feedURL = CORVANE_UPDATE_FEED;
    configuration.publicKey = CORVANE_UPDATE_KEY;
    configuration.currentVersion = CORVANE_VERSION;
    return configuration;
}

} // namespace corvane
