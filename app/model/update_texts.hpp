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
inline constexpr std::string_view networkDomain = "Corvane.Network";
inline constexpr std::string_view appcastDomain = "Corvane.Appcast";

inline constexpr std::string_view noUpdateDescription = "You're running the newest version.";
inline constexpr std::string_view cancelledDescription = "The update check was cancelled.";
inline constexpr std::string_view downloadFailedDescription =
    "The update feed could not be downloaded.";
inline constexpr std::string_view unreadableFeedDescription = "The update feed could not be read.";

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
