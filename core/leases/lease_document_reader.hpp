#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/leases/lease_table.hpp"

namespace corvane {

// What a lease document held, record by record: a damaged record costs only itself.
struct LeaseDocumentContents {
    LeaseTable table;
    // One line per record that could not be read: which record it was and why.
    std::vector<std::string> droppedRecords;

    friend bool operator==(const LeaseDocumentContents&, const LeaseDocumentContents&) = default;
};

// Reads a lease document of `version`. No value when the document as a whole is not one:
// not JSON, not an object, a missing or non-array list, or another version. Within the
// lists each record is read on its own, and one that cannot be read is left out and named.
// A document our own writer left goes the quick way; anything else goes record by record.
std::optional<LeaseDocumentContents> decodeLeaseDocument(std::string_view content, int version);

// The thorough way alone: through a JSON tree, one record at a time, naming what it drops.
std::optional<LeaseDocumentContents> decodeLeaseDocumentRecordByRecord(std::string_view content,
                                                                       int version);

} // namespace corvane
