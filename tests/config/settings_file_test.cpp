#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "core/config/config_texts.hpp"
#include "core/config/settings_file.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::writeFile;

class SettingsFileTest : public ::testing::Test {
protected:
    fs::path settingsPath() const { return folder_ / "config" / "corvane" / "settings.json"; }

    testing::TemporaryFolder folder_;
};

TEST(SettingsFilePath, FollowsTheXDGBaseDirectoryRules) {
    struct Case {
        const char* rule;
        const char* xdgConfigHome;
        const char* home;
        std::optional<fs::path> path;
    };
    const Case cases[] = {
        {"configuration folder wins", "/cfg", "/home/ann", "/cfg/corvane/settings.json"},
        {"home when unset", nullptr, "/home/ann", "/home/ann/.config/corvane/settings.json"},
        {"nothing usable", "cfg", nullptr, std::nullopt},
    };
    for (const auto& [rule, xdgConfigHome, home, path] : cases) {
        EXPECT_EQ(SettingsFile::pathFor(xdgConfigHome, home), path) << rule;
    }
}

TEST_F(SettingsFileTest, EachKeyRoundTripsAndKeepsTheOthers) {
    writeFile(settingsPath(), R"({"windowWidth": 900, "showVirtualCards": false})");
    SettingsFile settings(settingsPath());
    auto config = ServerConfig::defaultConfig();
    config.router = *IPv4Address::parse("192.168.0.254");
    const auto mac = *MACAddress::parse("00:1a:2b:3c:4d:5e");

    settings.setServerConfig(config);
    settings.setSelectedCardMAC(mac);
    settings.setUpdateFeedOverride("http://127.0.0.1:8000/appcast.xml");
    settings.setShowVirtualCards(true);

    const SettingsFile reread(settingsPath());
    EXPECT_EQ(reread.serverConfig(), config);
    EXPECT_EQ(reread.selectedCardMAC(), mac);
    EXPECT_EQ(reread.updateFeedOverride(), "http://127.0.0.1:8000/appcast.xml");
    EXPECT_TRUE(reread.showVirtualCards());
    EXPECT_EQ(reread.readAll()["windowWidth"], 900);
    EXPECT_EQ(reread.readAll()["selectedCardMAC"], "00:1a:2b:3c:4d:5e");
    EXPECT_EQ(reread.readAll()["serverConfig"], nlohmann::json(config));

    settings.setSelectedCardMAC(std::nullopt);
    settings.setUpdateFeedOverride(std::nullopt);
    const auto remaining = reread.readAll();
    EXPECT_FALSE(remaining.contains("selectedCardMAC"));
    EXPECT_FALSE(remaining.contains("updateFeedOverride"));
    EXPECT_EQ(remaining.size(), 3u);
    EXPECT_EQ(std::distance(fs::directory_iterator(settingsPath().parent_path()),
                            fs::directory_iterator()),
              1)
        << "a temporary file was left behind";
}

TEST_F(SettingsFileTest, MissingFileOrDamagedValuesGiveTheDefaults) {
    auto badConfig = nlohmann::json(ServerConfig::defaultConfig());
    badConfig["prefixLength"] = "24";
    const auto damaged = nlohmann::json{{"serverConfig", badConfig},
                                        {"selectedCardMAC", "00-1a-2b-3c-4d-5e"},
                                        {"updateFeedOverride", 7},
                                        {"showVirtualCards", "yes"}};
    for (const auto& file : {std::optional<nlohmann::json>(), std::optional(damaged)}) {
        if (file) {
            writeFile(settingsPath(), file->dump());
        }
        const SettingsFile settings(settingsPath());
        EXPECT_EQ(settings.readAll(), file.value_or(nlohmann::json::object()));
        EXPECT_EQ(settings.serverConfig(), ServerConfig::defaultConfig());
        EXPECT_FALSE(settings.selectedCardMAC());
        EXPECT_FALSE(settings.updateFeedOverride());
        EXPECT_FALSE(settings.showVirtualCards());
        EXPECT_EQ(fs::exists(settingsPath().parent_path()), file.has_value());
    }
}

// A link to the user's own settings file (a dotfiles repository) is written through and
// stays a link; a dangling one is refused, and a link where the damaged copy goes is
// replaced, never followed.
TEST_F(SettingsFileTest, WritesThroughALinkToAFileButNeverThroughAnyOtherLink) {
    const auto real = folder_ / "dotfiles" / "corvane.json";
    writeFile(real, R"({"selectedCardMAC": "00:1a:2b:3c:4d:5e"})");
    fs::create_directories(settingsPath().parent_path());
    fs::create_symlink(real, settingsPath());
    SettingsFile(settingsPath()).setShowVirtualCards(true);
    EXPECT_TRUE(fs::is_symlink(settingsPath()));
    EXPECT_EQ(
        nlohmann::json::parse(readFile(real)),
        (nlohmann::json{{"selectedCardMAC", "00:1a:2b:3c:4d:5e"}, {"showVirtualCards", true}}));

    fs::remove(settingsPath());
    const auto nowhere = folder_ / "nowhere.json";
    fs::create_symlink(nowhere, settingsPath());
    EXPECT_THROW(SettingsFile(settingsPath()).setShowVirtualCards(true), SettingsFileError);
    EXPECT_FALSE(fs::exists(nowhere));

    fs::remove(settingsPath());
    writeFile(settingsPath(), "{damaged");
    const auto victim = folder_ / "victim";
    writeFile(victim, "untouched");
    fs::create_symlink(victim, settingsPath().string() + ".unreadable");
    SettingsFile(settingsPath()).setShowVirtualCards(true);
    EXPECT_EQ(readFile(victim), "untouched");
    EXPECT_FALSE(fs::is_symlink(settingsPath().string() + ".unreadable"));
    EXPECT_EQ(readFile(settingsPath().string() + ".unreadable"), "{damaged");
}

TEST_F(SettingsFileTest, NewFoldersAndFilesAreTheOwnersAlone) {
    SettingsFile(settingsPath()).setShowVirtualCards(true);
    const auto modeOf = [](const fs::path& path) {
        return fs::status(path).permissions() & fs::perms::all;
    };
    EXPECT_EQ(modeOf(settingsPath().parent_path()), fs::perms::owner_all);
    EXPECT_EQ(modeOf(settingsPath().parent_path().parent_path()), fs::perms::owner_all);
    EXPECT_EQ(modeOf(settingsPath()), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SettingsFileTest, FailedWritesSayWhyAndChangeNothing) {
    // A settings path that is a folder cannot be read, so writing would lose what it holds.
    fs::create_directories(settingsPath());
    try {
        SettingsFile(settingsPath()).setShowVirtualCards(true);
        FAIL() << "replaced a settings path it could not read";
    } catch (const SettingsFileError& error) {
        EXPECT_EQ(error.what(),
                  config_texts::settingsNotRead(settingsPath().string(), std::strerror(EISDIR)));
    }
    EXPECT_TRUE(fs::is_directory(settingsPath()));

    // A damaged file is only replaced once a copy of it is safe.
    fs::remove_all(settingsPath());
    writeFile(settingsPath(), "{damaged");
    fs::create_directories(settingsPath().string() + ".unreadable/taken");
    EXPECT_THROW(SettingsFile(settingsPath()).setShowVirtualCards(true), SettingsFileError);
    EXPECT_EQ(readFile(settingsPath()), "{damaged");
}

} // namespace
} // namespace corvane
