#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "core/leases/lease_file.hpp"

namespace {

namespace fs = std::filesystem;
using corvane::LeaseFile;
using corvane::LeaseFileError;

[[noreturn]] void fail(const char* broken) {
    std::fprintf(stderr, "lease_file_fuzz: %s\n", broken);
    std::abort();
}

// A private folder for one input, removed when the input is done. libFuzzer may end without
// running exit handlers, so nothing may outlive the input that made it.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string pattern = (fs::temp_directory_path() / "corvane-lease-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            fail("could not create a scratch folder");
        }
        path_ = pattern;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

std::string readBytes(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace

// Whatever the bytes, loading either gives a table or moves the file aside with its bytes
// intact, keeping only the records it could read; whatever was kept survives a save and a
// second load unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ScratchFolder folder;
    const LeaseFile file(folder.path() / "leases.json");
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::ofstream(file.path(), std::ios::binary) << bytes;

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
