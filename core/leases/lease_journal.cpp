#include "core/leases/lease_journal.hpp"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "core/leases/lease_document.hpp"
#include "core/leases/lease_file_error.hpp"

namespace corvane {

namespace lease_journal {

namespace {

using nlohmann::json;

void applyLine(std::string_view line, LeaseTable& table, Replay& result) {
    if (line == "S") {
        result.uncleanStop = true;
        return;
    }
    if (line.size() < 2 || line[1] != ' ') {
        ++result.skipped;
        return;
    }
    const auto body = line.substr(2);
    try {
        switch (line[0]) {
        case 'L':
            table.upsert(json::parse(body).get<Lease>());
            break;
        case 'R':
            table.remove(MACAddress::parse(body).value());
            break;
        case 'Q':
            table = LeaseTable(table.leases(), json::parse(body).get<std::vector<Quarantine>>());
            break;
        default:
            ++result.skipped;
            return;
        }
        ++result.applied;
    } catch (const std::exception&) {
        ++result.skipped;
    }
}

} // namespace

std::string encodeChanges(const LeaseTable& table, const LeaseTable::Changes& changes) {
    std::string records;
    for (const auto& mac : changes.macs) {
        if (const auto lease = table.lease(mac)) {
            records += "L ";
            appendLeaseLine(records, *lease);
        } else {
            records += "R ";
            records += mac.description();
        }
        records += '\n';
    }
    if (changes.quarantine) {
        records += "Q ";
        records += json(table.quarantine()).dump();
        records += '\n';
    }
    return records;
}

std::string servingMarker() {
    return "S\n";
}

Replay replay(std::string_view content, LeaseTable& table) {
    Replay result;
    while (!content.empty()) {
        const auto end = content.find('\n');
        if (end == std::string_view::npos) {
            ++result.skipped;
            break;
        }
        applyLine(content.substr(0, end), table, result);
        content.remove_prefix(end + 1);
    }
    return result;
}

} // namespace lease_journal

namespace {

// Writes all of `bytes`; gives 0 or the error number.
int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return errno;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

} // namespace

LeaseJournal::LeaseJournal(std::filesystem::path path, bool syncEachAppend)
    : path_(std::move(path)), syncEachAppend_(syncEachAppend) {}

LeaseJournal::~LeaseJournal() {
    close();
}

void LeaseJournal::open() {
    close();
    descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor_ < 0) {
        throw LeaseFileError::couldNotWrite(path_, errno);
    }
    // A process killed mid-write leaves a line without its end; finish it so that the
    // marker starts a line of its own.
    std::string start;
    struct stat status {};
    char last = '\n';
    if (::fstat(descriptor_, &status) == 0 && status.st_size > 0 &&
        ::pread(descriptor_, &last, 1, status.st_size - 1) == 1 && last != '\n') {
        start = "\n";
    }
    records_ = 0;
    append(start + lease_journal::servingMarker());
    records_ = 0;
}

void LeaseJournal::append(std::string_view records) {
    if (descriptor_ < 0) {
        throw LeaseFileError::couldNotWrite(path_, EBADF);
    }
    struct stat before {};
    if (::fstat(descriptor_, &before) != 0) {
        throw LeaseFileError::couldNotWrite(path_, errno);
    }
    int error = writeAll(descriptor_, records);
    if (error == 0 && syncEachAppend_ && ::fdatasync(descriptor_) != 0) {
        error = errno;
    }
    if (error != 0) {
        // Best effort: a failed cut leaves a torn tail, which loading ignores.
        [[maybe_unused]] const int ignored = ::ftruncate(descriptor_, before.st_size);
        throw LeaseFileError::couldNotWrite(path_, error);
    }
    records_ += static_cast<std::size_t>(std::ranges::count(records, '\n'));
}

void LeaseJournal::restart() {
    records_ = 0;
    append(lease_journal::servingMarker());
    records_ = 0;
}

void LeaseJournal::close() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
        descriptor_ = -1;
    }
}

} // namespace corvane
