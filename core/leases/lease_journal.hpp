#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "core/leases/lease_table.hpp"

namespace corvane {

// The lease table's changes since its last snapshot, one line per record, appended beside
// the lease file so that a change costs one short write instead of rewriting every lease:
//   L {lease}         the client's record after a change
//   R aa:bb:cc:dd:ee:ff  the client's record went
//   Q [quarantine]    the whole quarantine list after a change
//   S                 a server has the file open; a clean stop leaves the journal empty
// A line without its newline is a write that never finished and is ignored, as is any line
// that cannot be understood; replaying a record twice gives the same table.
namespace lease_journal {

struct Replay {
    std::size_t applied = 0;
    std::size_t skipped = 0;
    // A serving marker was found: the last server did not stop cleanly.
    bool uncleanStop = false;
};

// The records for the table's pending changes, in one string ready for one write.
std::string encodeChanges(const LeaseTable& table, const LeaseTable::Changes& changes);
std::string servingMarker();
// Applies the records in `content` to `table` in order.
Replay replay(std::string_view content, LeaseTable& table);

} // namespace lease_journal

// The server's open journal. Each `append` is one write of a whole batch of records; a write
// that fails is cut back off the file, so the journal never keeps half a batch in its middle.
class LeaseJournal {
public:
    LeaseJournal(std::filesystem::path path, bool syncEachAppend);
    ~LeaseJournal();
    LeaseJournal(const LeaseJournal&) = delete;
    LeaseJournal& operator=(const LeaseJournal&) = delete;

    // Opens (creating it 0600) and writes the serving marker. Throws LeaseFileError.
    void open();
    // Throws LeaseFileError; the file then is as it was before the call.
    void append(std::string_view records);
    // After the lease file's snapshot emptied the journal: marks it as served again.
    void restart();
    void close();

    bool isOpen() const { return descriptor_ >= 0; }
    std::size_t recordsSinceSnapshot() const { return records_; }

private:
    std::filesystem::path path_;
    bool syncEachAppend_;
    int descriptor_ = -1;
    std::size_t records_ = 0;
};

} // namespace corvane
