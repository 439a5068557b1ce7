#pragma once

#include <chrono>
#include <string>

namespace corvane {

// How this build checks for updates. The feed address and the signing key are fixed when
// the program is built; without both, update checks stay off (a test feed in the user's
// settings only replaces the address of a feed this build can verify).
struct UpdateConfiguration {
    std::string feedURL;
    // The Ed25519 public key, in base64, that the feed's signature must verify against.
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
