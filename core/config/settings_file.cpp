#include "core/config/settings_file.hpp"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <variant>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/address/address_json.hpp"
#include "core/config/config_texts.hpp"
#include "core/files/private_files.hpp"

namespace corvane {
namespace {

struct FileMissing {};
struct FileUnreadable {
    int error;
};
using FileContents = std::variant<std::string, FileMissing, FileUnreadable>;

FileContents readWholeFile(const std::filesystem::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor < 0) {
        // ENOTDIR: a plain file stands where a folder on the way should be, so there is
        // no settings file either; writing will then report why it cannot create one.
        const bool missing = errno == ENOENT || errno == ENOTDIR;
        return missing ? FileContents(FileMissing{}) : FileContents(FileUnreadable{errno});
    }
    std::string text;
    char buffer[4096];
    while (true) {
        const auto count = ::read(descriptor, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            const int error = errno;
            ::close(descriptor);
            return FileUnreadable{error};
        }
        if (count == 0) {
            break;
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(descriptor);
    return text;
}

// No value when the text is not one JSON object.
std::optional<nlohmann::json> settingsObject(const std::string& text) {
    auto document = nlohmann::json::parse(text, nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        return std::nullopt;
    }
    return document;
}

std::string reasonFor(int error) {
    return std::error_code(error, std::generic_category()).message();
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const auto written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// A symbolic link to the user's own settings (a dotfiles repository, say) stays a link: the
// file it points to is read and replaced, and only through its resolved path, so every open
// below can refuse links. A dangling link does not resolve and is refused like any other.
std::filesystem::path resolvedTarget(const std::filesystem::path& path) {
    std::error_code error;
    auto target = std::filesystem::canonical(path, error);
    return error ? path : target;
}

// Writes `text` to a temporary file beside `target` and renames it over `target`, so a
// reader sees either the old file or the whole new one.
void replaceAtomically(const std::filesystem::path& target, const std::string& text) {
    const auto fail = [&target](int error) {
        return SettingsFileError(config_texts::settingsNotSaved(target.string(), reasonFor(error)));
    };
    auto folder = target.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    if (const auto created = private_files::createFolders(folder)) {
        throw fail(created.value());
    }
    std::string hiddenName = ".";
    hiddenName += target.filename().string();
    hiddenName += ".XXXXXX";
    std::string temporary = (folder / hiddenName).string();
    const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0) {
        throw fail(errno);
    }
    if (!writeAll(descriptor, text) || ::fsync(descriptor) != 0) {
        const int error = errno;
        ::close(descriptor);
        ::unlink(temporary.c_str());
        throw fail(error);
    }
    if (::close(descriptor) != 0 || ::rename(temporary.c_str(), target.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throw fail(error);
    }
    // Make the rename itself durable; the new settings are in place even if this fails.
    const int folderDescriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderDescriptor >= 0) {
        ::fsync(folderDescriptor);
        ::close(folderDescriptor);
    }
}

// Keeps a damaged settings file beside the new one, so that a hand edit with a typo is not
// silently thrown away. Written like the settings themselves, so a link in its place is
// replaced, not followed.
void keepDamagedCopy(const std::filesystem::path& target, const std::string& text) {
    replaceAtomically(target.string() + ".unreadable", text);
}

} // namespace

std::filesystem::path SettingsFile::defaultPath() {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
        if (const passwd* entry = ::getpwuid(::getuid())) {
            home = entry->pw_dir;
        }
    }
    const auto path = pathFor(std::getenv("XDG_CONFIG_HOME"), home);
    if (!path) {
        throw SettingsFileError(std::string(config_texts::noSettingsFolder));
    }
    return *path;
}

std::optional<std::filesystem::path> SettingsFile::pathFor(const char* xdgConfigHome,
                                                           const char* home) {
    const auto usable = [](const char* folder) {
        return folder != nullptr && std::filesystem::path(folder).is_absolute();
    };
    if (usable(xdgConfigHome)) {
        return std::filesystem::path(xdgConfigHome) / "corvane" / "settings.json";
    }
    if (usable(home)) {
        return std::filesystem::path(home) / ".config" / "corvane" / "settings.json";
    }
    return std::nullopt;
}

nlohmann::json SettingsFile::readAll() const {
    const auto contents = readWholeFile(resolvedTarget(path_));
    if (const auto* text = std::get_if<std::string>(&contents)) {
        if (auto document = settingsObject(*text)) {
            return std::move(*document);
        }
    }
    return nlohmann::json::object();
}

ServerConfig SettingsFile::serverConfig() const {
    const auto settings = readAll();
    const auto stored = settings.find(serverConfigKey);
    if (stored != settings.end()) {
        try {
            return stored->get<ServerConfig>();
        } catch (const std::exception&) {
            // A configuration from a damaged or foreign file is no configuration at all.
        }
    }
    return ServerConfig::defaultConfig();
}

std::optional<MACAddress> SettingsFile::selectedCardMAC() const {
    const auto settings = readAll();
    const auto stored = settings.find(selectedCardMACKey);
    if (stored == settings.end() || !stored->is_string()) {
        return std::nullopt;
    }
    return MACAddress::parse(stored->get<std::string>());
}

std::optional<std::string> SettingsFile::updateFeedOverride() const {
    const auto settings = readAll();
    const auto stored = settings.find(updateFeedOverrideKey);
    if (stored == settings.end() || !stored->is_string()) {
        return std::nullopt;
    }
    return stored->get<std::string>();
}

bool SettingsFile::showVirtualCards() const {
    const auto settings = readAll();
    const auto stored = settings.find(showVirtualCardsKey);
    return stored != settings.end() && stored->is_boolean() && stored->get<bool>();
}

bool SettingsFile::syncLeaseWrites() const {
    const auto settings = readAll();
    const auto stored = settings.find(syncLeaseWritesKey);
    return stored != settings.end() && stored->is_boolean() && stored->get<bool>();
}

void SettingsFile::setServerConfig(const ServerConfig& config) {
    replaceKey(serverConfigKey, nlohmann::json(config));
}

void SettingsFile::setSelectedCardMAC(const std::optional<MACAddress>& mac) {
    replaceKey(selectedCardMACKey,
               mac ? std::optional<nlohmann::json>(mac->description()) : std::nullopt);
}

void SettingsFile::setUpdateFeedOverride(const std::optional<std::string>& feed) {
    replaceKey(updateFeedOverrideKey, feed ? std::optional<nlohmann::json>(*feed) : std::nullopt);
}

void SettingsFile::setShowVirtualCards(bool show) {
    replaceKey(showVirtualCardsKey, nlohmann::json(show));
}

void SettingsFile::replaceKey(std::string_view key, const std::optional<nlohmann::json>& value) {
    const auto target = resolvedTarget(path_);
    auto settings = nlohmann::json::object();
    const auto contents = readWholeFile(target);
    if (const auto* unreadable = std::get_if<FileUnreadable>(&contents)) {
        // Writing now would drop every other setting we could not see.
        throw SettingsFileError(
            config_texts::settingsNotRead(target.string(), reasonFor(unreadable->error)));
    }
    if (const auto* text = std::get_if<std::string>(&contents)) {
        if (auto document = settingsObject(*text)) {
            settings = std::move(*document);
        } else if (!text->empty()) {
            keepDamagedCopy(target, *text);
        }
    }
    if (value) {
        settings[std::string(key)] = *value;
    } else {
        settings.erase(std::string(key));
    }
    // Replacement characters rather than an exception for a text that is not UTF-8: the
    // other settings still deserve to be saved.
    const auto text = settings.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
    replaceAtomically(target, text + "\n");
}

} // namespace corvane
