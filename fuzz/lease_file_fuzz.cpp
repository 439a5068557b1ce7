#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/temp_file_input.hpp"

#include "core/leases/lease_file.hpp"

namespace {

namespace fs = std::filesystem;
using corvane::LeaseFile;
using corvane::LeaseFileError;
using corvane::fuzzing::readBytes;

[[noreturn]] void fail(const char* broken) {
    std::fprintf(stderr, "lease_file_fuzz: %s\n", broken);
    std::abort();
}

} // namespace

// Whatever the bytes, loading either gives a table or moves the file aside with its bytes
// intact, keeping only the records it could read; whatever was kept survives a save and a
// second load unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const corvane::fuzzing::TempFileInput input("corvane-lease-fuzz", "leases.json", data, size);
    const LeaseFile file(input.path());
    const std::string& bytes = input.bytes();

    const corvane::TimePoint now{std::chrono::seconds{1'740'830'400}};
    LeaseFile::LoadResult first;
    try {
        first = file.load(now);
    } catch (const LeaseFileError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        fail("loading a readable file failed instead of loading or setting it aside");
    }
    if (first.setAsideURL) {
        if (first.droppedRecords.empty() &&
            (!first.table.leases().empty() || !first.table.quarantine().empty())) {
            fail("a wholly unreadable file still produced records");
        }
        if (fs::exists(file.path()) || readBytes(*first.setAsideURL) != bytes) {
            fail("the set-aside file does not hold the original bytes");
        }
    } else if (!first.droppedRecords.empty()) {
        fail("records were dropped but the file was not set aside");
    }
    file.save(first.table);
    const auto second = file.load(now);
    if (second.setAsideURL || second.table != first.table) {
        fail("a saved table did not load back equal");
    }
    return 0;
}
