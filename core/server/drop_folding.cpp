#include "core/server/drop_folding.hpp"

#include <algorithm>
#include <utility>

#include "core/server/server_texts.hpp"

namespace corvane {

namespace {

// The key of the window that gathers reasons beyond the bound.
const std::string otherReasons;

} // namespace

void DropFolding::pass(ServerEvent event, TimePoint at, std::vector<ServerEvent>& out) {
    const bool stopping = event.is<ServerEvent::Stopped>();
    if (stopping || at >= nextClose_) {
        closeWindows(at, stopping, out);
    }
    if (const auto* dropped = event.as<ServerEvent::Dropped>();
        dropped != nullptr && fold(dropped->reason, at)) {
        return;
    }
    out.push_back(std::move(event));
}

// True when the drop is only counted; false when it is the first of its window and shown.
bool DropFolding::fold(const std::string& reason, TimePoint at) {
    auto found = windows_.find(reason);
    const bool overflowing = found == windows_.end() && windows_.size() >= maxReasons;
    if (overflowing) {
        found = windows_.find(otherReasons);
    }
    if (found != windows_.end()) {
        ++found->second.folded;
        return true;
    }
    windows_.emplace(overflowing ? otherReasons : reason, Window{at, 0});
    nextClose_ = std::min(nextClose_, at + window);
    return false;
}

void DropFolding::closeWindows(TimePoint at, bool all, std::vector<ServerEvent>& out) {
    nextClose_ = TimePoint::max();
    for (auto entry = windows_.begin(); entry != windows_.end();) {
        const auto closes = entry->second.opened + window;
        if (!all && closes > at) {
            nextClose_ = std::min(nextClose_, closes);
            ++entry;
            continue;
        }
        if (entry->second.folded > 0) {
            out.push_back(ServerEvent::Dropped{
                server_texts::foldedDrops(entry->first, entry->second.folded, window.count()),
                std::nullopt});
        }
        entry = windows_.erase(entry);
    }
}

} // namespace corvane
