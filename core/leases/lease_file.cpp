#include "core/leases/lease_file.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <unordered_map>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/address/address_json.hpp"
#include "core/leases/lease_document.hpp"
#include "core/leases/lease_document_reader.hpp"
#include "core/leases/lease_journal.hpp"

namespace corvane {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string readWholeFile(const fs::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        throw LeaseFileError::couldNotRead(path, errno);
    }
    // Read straight into a string sized from the file: a lab's table runs to megabytes, and
    // growing the string chunk by chunk copied it several times over.
    struct stat status {};
    const bool sized = ::fstat(descriptor, &status) == 0 && status.st_size > 0;
    std::string content(sized ? static_cast<std::size_t>(status.st_size) + 1 : 65536, '\0');
    std::size_t used = 0;
    while (true) {
        if (used == content.size()) {
            content.resize(content.size() * 2);
        }
        const auto count = ::read(descriptor, content.data() + used, content.size() - used);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            const int error = errno;
            ::close(descriptor);
            throw LeaseFileError::couldNotRead(path, error);
        }
        if (count == 0) {
            break;
        }
        used += static_cast<std::size_t>(count);
    }
    content.resize(used);
    ::close(descriptor);
    return content;
}

// Writes `content` to a file that must not exist yet and flushes it to the disk; gives 0 or
// the error number. A file left half-written is removed again.
int writeNewFile(const fs::path& path, std::string_view content) {
    const int descriptor =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        return errno;
    }
    int error = 0;
    while (!content.empty() && error == 0) {
        const auto count = ::write(descriptor, content.data(), content.size());
        if (count >= 0) {
            content.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    if (error == 0 && ::fsync(descriptor) != 0) {
        error = errno;
    }
    if (::close(descriptor) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(path.c_str());
    }
    return error;
}

// A file edited by hand or written by an older build may list a client twice. The record
// seen most recently wins (the earlier one on a tie) and takes the place of the client's
// first appearance. No value in the usual case, where every client appears once, so that a
// large table is neither copied nor indexed a second time.
std::optional<std::vector<Lease>> oneRecordPerMAC(const std::vector<Lease>& leases) {
    std::unordered_map<MACAddress, std::size_t> winner;
    winner.reserve(leases.size());
    for (std::size_t index = 0; index < leases.size(); ++index) {
        const auto [entry, isNew] = winner.try_emplace(leases[index].mac, index);
        if (!isNew && leases[entry->second].lastSeen < leases[index].lastSeen) {
            entry->second = index;
        }
    }
    if (winner.size() == leases.size()) {
        return std::nullopt;
    }
    std::vector<Lease> unique;
    unique.reserve(winner.size());
    for (const auto& lease : leases) {
        const auto entry = winner.find(lease.mac);
        if (entry != winner.end()) {
            unique.push_back(leases[entry->second]);
            winner.erase(entry);
        }
    }
    return unique;
}

// What a file says, with one record per client; no value when there is no file. `contents`
// is empty when the file is not a lease document at all.
struct FileReading {
    std::optional<LeaseDocumentContents> contents;
};

std::optional<FileReading> readLeaseFile(const fs::path& path) {
    std::error_code statusError;
    if (fs::symlink_status(path, statusError).type() == fs::file_type::not_found) {
        return std::nullopt;
    }
    auto contents = decodeLeaseDocument(readWholeFile(path), LeaseFile::currentVersion);
    if (contents) {
        if (auto unique = oneRecordPerMAC(contents->table.leases())) {
            contents->table = LeaseTable(std::move(*unique), contents->table.quarantine());
        }
    }
    return FileReading{std::move(contents)};
}

// The local time of `now` as yyyymmdd-hhmmss, for the set-aside name.
std::string stamp(TimePoint now) {
    const auto seconds =
        std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(now));
    ::tzset();
    std::tm local{};
    ::localtime_r(&seconds, &local);
    // Wide enough for any values the fields could hold, so nothing can be cut off.
    char text[64];
    std::snprintf(text, sizeof text, "%04d%02d%02d-%02d%02d%02d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

// Moves `file` to `destination` without ever replacing an earlier set-aside file.
void moveAside(const fs::path& file, const fs::path& destination) {
    if (::renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) {
        return;
    }
    int error = errno;
    if (error == EINVAL || error == ENOSYS) {
        // File systems without the no-replace flag: check first, then rename.
        std::error_code ignored;
        if (fs::exists(fs::symlink_status(destination, ignored))) {
            error = EEXIST;
        } else if (::rename(file.c_str(), destination.c_str()) == 0) {
            return;
        } else {
            error = errno;
        }
    }
    throw LeaseFileError::couldNotSetAside(file, destination, error);
}

// A version 4 UUID in its upper-case text form.
std::string randomUUID() {
    std::random_device source;
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t index = 0; index < bytes.size(); index += 4) {
        const auto word = source();
        for (std::size_t part = 0; part < 4; ++part) {
            bytes[index + part] = static_cast<std::uint8_t>(word >> (8 * part));
        }
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10) {
            text += '-';
        }
        constexpr std::string_view digits = "0123456789ABCDEF";
        text += digits[bytes[index] >> 4];
        text += digits[bytes[index] & 0x0F];
    }
    return text;
}

// A hidden name beside the target: ".leases.json.tmp-" and a fresh UUID.
std::string temporaryName(const fs::path& target) {
    // Appended piece by piece: GCC 12 reports a false -Wrestrict on "literal" + std::string.
    std::string name(".");
    name += target.filename().string();
    name += ".tmp-";
    name += randomUUID();
    return name;
}

// Makes a rename inside `folder` survive a power cut.
int syncFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    const int error = ::fsync(descriptor) == 0 ? 0 : errno;
    ::close(descriptor);
    return error;
}

// The journal's content, or nothing when there is none.
std::string readJournal(const fs::path& path) {
    std::error_code statusError;
    if (fs::symlink_status(path, statusError).type() == fs::file_type::not_found) {
        return {};
    }
    return readWholeFile(path);
}

std::optional<std::string> lookUpEnvironment(std::string_view name) {
    const char* value = std::getenv(std::string(name).c_str());
    if (value == nullptr) {
        return std::nullopt;
    }
    return std::string(value);
}

fs::path homeFolder(const LeaseFile::EnvironmentLookup& environment) {
    if (const auto home = environment("HOME"); home && !home->empty()) {
        return *home;
    }
    std::array<char, 4096> buffer;
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_dir != nullptr) {
        return found->pw_dir;
    }
    return "/";
}

} // namespace

fs::path LeaseFile::defaultPath() {
    return defaultPath(lookUpEnvironment);
}

fs::path LeaseFile::defaultPath(const EnvironmentLookup& environment) {
    // The XDG base directory rules ignore a relative $XDG_DATA_HOME.
    fs::path dataHome;
    if (const auto configured = environment("XDG_DATA_HOME");
        configured && fs::path(*configured).is_absolute()) {
        dataHome = *configured;
    } else {
        dataHome = homeFolder(environment) / ".local" / "share";
    }
    return dataHome / "corvane" / "leases.json";
}

fs::path LeaseFile::journalPath() const {
    auto journal = path_;
    journal += ".journal";
    return journal;
}

LeaseFile::LoadResult LeaseFile::load(TimePoint now) const {
    LoadResult result;
    if (auto reading = readLeaseFile(path_)) {
        if (reading->contents) {
            result.table = std::move(reading->contents->table);
            result.droppedRecords = std::move(reading->contents->droppedRecords);
        }
        if (!reading->contents || !result.droppedRecords.empty()) {
            auto destination = path_;
            destination += ".corrupt-" + stamp(now);
            moveAside(path_, destination);
            result.setAsideURL = destination;
        }
    }
    replayJournal(result);
    return result;
}

LeaseFile::LoadResult LeaseFile::read() const {
    LoadResult result;
    if (auto reading = readLeaseFile(path_)) {
        if (!reading->contents) {
            throw LeaseFileError::notALeaseFile(path_);
        }
        result.table = std::move(reading->contents->table);
        result.droppedRecords = std::move(reading->contents->droppedRecords);
    }
    replayJournal(result);
    return result;
}

// The journal holds the changes made since the snapshot; reading it changes nothing on disk.
void LeaseFile::replayJournal(LoadResult& result) const {
    const auto replay = lease_journal::replay(readJournal(journalPath()), result.table);
    result.uncleanStop = replay.uncleanStop;
    result.table.takeChanges();
}

void LeaseFile::save(const LeaseTable& table) const {
    const auto folder = path_.has_parent_path() ? path_.parent_path() : fs::path(".");
    std::error_code folderError;
    if (fs::create_directories(folder, folderError) && !folderError) {
        fs::permissions(folder, fs::perms::owner_all, folderError);
    }
    if (folderError) {
        throw LeaseFileError::couldNotCreateFolder(folder, folderError);
    }
    const auto content = encodeLeaseDocument(table, currentVersion);
    const auto temporary = folder / temporaryName(path_);
    if (const int error = writeNewFile(temporary, content); error != 0) {
        throw LeaseFileError::couldNotWrite(path_, error);
    }
    if (::rename(temporary.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throw LeaseFileError::couldNotReplace(path_, error);
    }
    if (const int error = syncFolder(folder); error != 0) {
        throw LeaseFileError::couldNotWrite(path_, error);
    }
    // Only once the snapshot is safely in place may the changes it holds leave the journal.
    if (::truncate(journalPath().c_str(), 0) != 0 && errno != ENOENT) {
        throw LeaseFileError::couldNotWrite(journalPath(), errno);
    }
}

} // namespace corvane
