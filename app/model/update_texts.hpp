#pragma once

#include <chrono>
#include <string>
#include <string_view>

// Every text the update checker writes or reports, so that the log and the tests read the
// same words.
namespace corvane::update_texts {

inline constexpr std::string_view logLabel = "UPDATE";

// The refusal of a background check while the server runs.
inline constexpr std::string_view policyDomain = "Corvane.UpdatePolicy";
inline constexpr int deferredCode = 1;
inline constexpr std::string_view deferredDescription =
    "Update check deferred while the server is running.";
inline constexpr std::string_view checkDeferred = "check deferred until the server stops";

// The checker's own outcomes. "Nothing new" and "cancelled" are outcomes, not failures, and
// never reach the log.
inline constexpr std::string_view updaterDomain = "Corvane.Updater";
inline constexpr int noUpdateCode = 1001;
inline constexpr int cancelledCode = 4007;
inline constexpr int downloadFailedCode = 2001;
inline constexpr int unreadableFeedCode = 2002;
inline constexpr int unsignedFeedCode = 3001;
inline constexpr int badSignatureCode = 3002;
inline constexpr int unusableKeyCode = 3003;
inline constexpr std::string_view networkDomain = "Corvane.Network";
inline constexpr std::string_view appcastDomain = "Corvane.Appcast";

inline constexpr std::string_view noUpdateDescription = "You're running the newest version.";
inline constexpr std::string_view cancelledDescription = "The update check was cancelled.";
inline constexpr std::string_view downloadFailedDescription =
    "The update feed could not be downloaded.";
inline constexpr std::string_view unreadableFeedDescription = "The update feed could not be read.";

inline constexpr std::string_view unsignedFeedDescription =
    "The update feed is not signed, so Corvane ignored it.";
inline constexpr std::string_view badSignatureDescription =
    "The update feed's signature does not match this build's key, so Corvane ignored it.";
inline constexpr std::string_view unusableKeyDescription =
    "This build's update key is not an Ed25519 public key in base64; rebuild with the right "
    "CORVANE_UPDATE_KEY.";

inline std::string checkFailed(std::string_view description) {
    return "check failed: " + std::string(description);
}

inline std::string usingTestFeed(std::string_view url, std::string_view settingsPath,
                                 std::string_view key) {
    return "using test feed " + std::string(url) + " (undo: remove the key \"" + std::string(key) +
           "\" from " + std::string(settingsPath) + ")";
}

inline std::string updateAvailable(std::string_view version, std::string_view page) {
    return "version " + std::string(version) + " is available: " + std::string(page);
}

inline std::string noAnswerWithin(std::chrono::milliseconds limit) {
    return "The feed did not answer within " +
           std::to_string(std::chrono::duration_cast<std::chrono::seconds>(limit).count()) +
           " seconds.";
}

} // namespace corvane::update_texts
