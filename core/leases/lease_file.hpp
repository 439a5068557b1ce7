#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/leases/lease_file_error.hpp"
#include "core/leases/lease_table.hpp"

namespace corvane {

// The lease table on disk: one JSON document (the snapshot), written whole to a hidden
// temporary file and renamed over the old one, so a crash never leaves half a file, plus the
// journal of changes since that snapshot beside it (see LeaseJournal). Loading reads both;
// saving writes a new snapshot and empties the journal. A snapshot that cannot be understood
// is moved aside under a time-stamped name, never overwritten.
class LeaseFile {
public:
    // Version history: 1 is the first and only format, accepted and written.
    static constexpr int currentVersion = 1;

    struct LoadResult {
        LeaseTable table;
        // Where an unreadable file was moved; absent when nothing was moved.
        std::optional<std::filesystem::path> setAsideURL;
        // The records left out because they could not be read, one line each; the file
        // holding them is the one set aside.
        std::vector<std::string> droppedRecords;
        // The journal showed that the last server to use the file did not stop cleanly, so
        // changes it announced in its last moments may be missing.
        bool uncleanStop = false;

        friend bool operator==(const LoadResult&, const LoadResult&) = default;
    };

    using EnvironmentLookup = std::function<std::optional<std::string>(std::string_view name)>;

    explicit LeaseFile(std::filesystem::path path) : path_(std::move(path)) {}

    // $XDG_DATA_HOME/corvane/leases.json, by default ~/.local/share/corvane/leases.json.
    static std::filesystem::path defaultPath();
    static std::filesystem::path defaultPath(const EnvironmentLookup& environment);

    const std::filesystem::path& path() const { return path_; }
    // "leases.json.journal" beside "leases.json".
    std::filesystem::path journalPath() const;

    // A missing file gives an empty table. A file that is not a version 1 lease document is
    // moved aside (its name gets ".corrupt-" and the local time of `now`) and gives an empty
    // table. Throws LeaseFileError when the file cannot be read or moved.
    // A file in which only some records cannot be read is moved aside the same way, and the
    // rest of its records are kept.
    LoadResult load(TimePoint now) const;
    // The same reading for commands that only look: nothing is ever moved or written. A
    // file that is not a lease document throws LeaseFileError.
    LoadResult read() const;
    // Writes the snapshot with fsync of the file and its folder, then empties the journal.
    // Throws LeaseFileError; the previous files then stay as they were.
    void save(const LeaseTable& table) const;

private:
    void replayJournal(LoadResult& result) const;

    std::filesystem::path path_;
};

} // namespace corvane
