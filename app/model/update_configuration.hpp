#pragma once

#include <chrono>
#include <string>

namespace corvane {

// How this build checks for updates. The feed address and the signing key are fixed when
// the program is built; without them automatic updates stay off unless the user's settings
// name a test feed.
struct UpdateConfiguration {
    std::string feedURL;
    std::string publicKey;
    // The running version, compared with the versions the feed announces.
    std::string currentVersion;
    bool automaticChecks = true;
    std::chrono::milliseconds firstCheckDelay{std::chrono::seconds{30}};
    std::chrono::milliseconds checkInterval{std::chrono::hours{24}};
    std::chrono::milliseconds transferTimeLimit{std::chrono::seconds{30}};

    // This build's feed and key, from the CMake cache variables CORVANE_UPDATE_FEED and
    // CORVANE_UPDATE_KEY, and the project's version.
    static UpdateConfiguration ofThisBuild();
};

} // namespace corvane
