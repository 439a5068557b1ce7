#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/temp_file_input.hpp"
#include <nlohmann/json.hpp>

#include "core/config/settings_file.hpp"

namespace {

namespace fs = std::filesystem;
using corvane::SettingsFile;
using corvane::fuzzing::readBytes;

[[noreturn]] void fail(const char* broken) {
    std::fprintf(stderr, "settings_file_fuzz: %s\n", broken);
    std::abort();
}

} // namespace

// Whatever the file holds, reading never throws; a setter keeps every other key of a file
// that is a JSON object, and keeps the bytes of one that is not beside the new file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const corvane::fuzzing::TempFileInput input("corvane-settings-fuzz", "settings.json", data,
                                                size);
    SettingsFile settings(input.path());
    const std::string& bytes = input.bytes();

    const auto before = settings.readAll();
    (void)settings.serverConfig();
    (void)settings.selectedCardMAC();
    (void)settings.updateFeedOverride();
    const bool shown = settings.showVirtualCards();
    try {
        settings.setShowVirtualCards(!shown);
    } catch (const corvane::SettingsFileError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        fail("a readable settings file could not be rewritten");
    }
    auto expected = before;
    expected[std::string(SettingsFile::showVirtualCardsKey)] = !shown;
    const auto after = settings.readAll();
    if (after.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) !=
        expected.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)) {
        fail("a setter lost or changed another key");
    }
    if (settings.showVirtualCards() == shown) {
        fail("the setting did not change");
    }
    const auto damaged = fs::path(settings.path().string() + ".unreadable");
    const auto parsed = nlohmann::json::parse(bytes, nullptr, false);
    const bool damagedFile = !bytes.empty() && (parsed.is_discarded() || !parsed.is_object());
    if (fs::exists(damaged) != damagedFile || (damagedFile && readBytes(damaged) != bytes)) {
        fail("a damaged settings file was not kept as it was");
    }
    return 0;
}
