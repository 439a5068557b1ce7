#include <algorithm>
#include <functional>
#include <iostream>
#include <limits>

#include "cli/running_server.hpp"
#include "cli/serve_texts.hpp"
#include "cli/subcommands.hpp"
#include "cli/text_table.hpp"
#include "cli/usage_error.hpp"
#include "core/config/duration_text.hpp"
#include "core/control/control_error.hpp"
#include "core/control/lease_file_lock.hpp"
#include "core/events/notice.hpp"
#include "core/events/notice_texts.hpp"
#include "core/leases/lease_file.hpp"
#include "core/maker/maker_registry.hpp"

namespace corvane::cli {
namespace {

struct LeaseFileOption {
    std::string path;

    LeaseFile file() const {
        return LeaseFile(path.empty() ? LeaseFile::defaultPath() : std::filesystem::path(path));
    }
};

void addLeaseFileOption(CLI::App& command, LeaseFileOption& option) {
    command.add_option("--lease-file", option.path,
                       "The lease file to use instead of the user's leases.json");
}

void reportDroppedRecords(const LeaseFile::LoadResult& result) {
    if (!result.droppedRecords.empty()) {
        std::cerr << notice_texts::leaseRecordsDropped(result.table.leases().size() +
                                                           result.table.quarantine().size(),
                                                       result.droppedRecords)
                  << "\n";
    }
}

// Loads the table for editing. A damaged file is moved aside by the load, and the user is
// told where it went and which records were left out.
std::optional<LeaseFile::LoadResult> loadForEditing(const LeaseFile& file, TimePoint now) {
    try {
        auto result = file.load(now);
        if (result.setAsideURL) {
            std::cerr << Notice::leaseFileSetAside(*result.setAsideURL,
                                                   result.table.leases().size())
                             .message
                      << "\n";
        }
        reportDroppedRecords(result);
        return result;
    } catch (const LeaseFileError& error) {
        std::cerr << texts::leaseFileUnreadable(error.what()) << "\n";
        return std::nullopt;
    }
}

// Reads the table for showing; the file stays exactly as it is, damaged or not.
std::optional<LeaseTable> readForShowing(const LeaseFile& file) {
    try {
        auto result = file.read();
        reportDroppedRecords(result);
        return std::move(result.table);
    } catch (const LeaseFileError& error) {
        std::cerr << texts::leaseFileUnreadable(error.what()) << "\n";
        return std::nullopt;
    }
}

std::string expiryText(const Lease& lease, TimePoint now) {
    if (lease.state != Lease::State::offered && lease.state != Lease::State::bound) {
        return std::string(texts::noValue);
    }
    if (lease.isExpired(now)) {
        return std::string(texts::expired);
    }
    const auto left = std::chrono::ceil<std::chrono::seconds>(lease.expiresAt - now).count();
    const auto capped = std::min<std::int64_t>(left, std::numeric_limits<std::uint32_t>::max());
    return texts::expiresIn(formatDuration(static_cast<std::uint32_t>(capped)));
}

// The live table of the server running on the file, or the file's own table.
std::optional<LeaseTable> currentTable(const LeaseFile& file) {
    if (const auto server = connectToRunningServer(file.path())) {
        const auto reply = server->ask({{"request", "leases"}});
        std::vector<Lease> leases;
        for (const auto& lease : reply.value("leases", nlohmann::json::array())) {
            leases.push_back(lease.get<Lease>());
        }
        return LeaseTable(std::move(leases), {});
    }
    return readForShowing(file);
}

// Sends one edit to the running server and prints its outcome.
int editOnServer(ControlClient& server, const nlohmann::json& request,
                 const std::function<std::string(const nlohmann::json&)>& describe) {
    const auto reply = server.ask(request);
    if (!reply.value("ok", false)) {
        std::cerr << texts::serverRefused(reply.value("error", "")) << "\n";
        return refusedStatus;
    }
    std::cout << describe(reply) << "\n";
    return successStatus;
}

int showLeases(const LeaseFileOption& option) {
    const auto file = option.file();
    const auto now = std::chrono::system_clock::now();
    const auto table = currentTable(file);
    if (!table) {
        return refusedStatus;
    }
    if (table->leases().empty()) {
        std::cout << texts::noLeases(file.path()) << "\n";
        return successStatus;
    }
    // Presence is known only to a running server; here every record sorts by address.
    const auto leases = table->sortedForDisplay([](const Lease&) { return std::nullopt; });
    TextTable listing({"ADDRESS", "MAC", "MAKER", "STATE", "EXPIRES", "HOST NAME"});
    for (const auto& lease : leases) {
        listing.addRow({lease.ip.description(), lease.mac.description(),
                        makerName(lease.mac).value_or(std::string(texts::noValue)),
                        std::string(leaseStateName(lease.state)), expiryText(lease, now),
                        lease.hostname.value_or(std::string(texts::noValue))});
    }
    std::cout << listing.render();
    return successStatus;
}

// Loads, edits and saves the file while holding the lock a running server holds, so an edit
// never races a server that would write its own table over it.
template <typename Edit> int editLeases(const LeaseFile& file, Edit edit) {
    const LeaseFileLock lock(file.path());
    if (lock.state() == LeaseFileLock::State::inUseElsewhere) {
        std::cerr << texts::leaseFileInUseForEdit(file.path()) << "\n";
        return refusedStatus;
    }
    const auto now = std::chrono::system_clock::now();
    auto loaded = loadForEditing(file, now);
    if (!loaded) {
        return refusedStatus;
    }
    auto* table = &loaded->table;
    const auto before = *table;
    const auto outcome = edit(*table, now);
    if (!outcome) {
        return refusedStatus;
    }
    try {
        // An edit that changed nothing leaves the file, or its absence, as it was, unless a
        // damaged file went aside and the records kept from it must be written back.
        if (*table != before || (loaded->setAsideURL && !loaded->droppedRecords.empty())) {
            file.save(*table);
        }
    } catch (const LeaseFileError& error) {
        std::cerr << texts::leaseFileNotSaved(error.what()) << "\n";
        return refusedStatus;
    }
    std::cout << *outcome << "\n";
    return successStatus;
}

int forget(const std::string& macText, const LeaseFileOption& option) {
    const auto mac = MACAddress::parse(macText);
    if (!mac) {
        throw UsageError({texts::badMAC(macText)});
    }
    const auto file = option.file();
    if (const auto server = connectToRunningServer(file.path())) {
        return editOnServer(*server, {{"request", "forget"}, {"mac", mac->description()}},
                            [&](const nlohmann::json& reply) {
                                const auto lease = reply.at("lease").get<Lease>();
                                return texts::forgotLease(mac->description(),
                                                          lease.ip.description());
                            });
    }
    return editLeases(file, [&](LeaseTable& table, TimePoint) -> std::optional<std::string> {
        const auto removed = table.remove(*mac);
        if (!removed) {
            std::cerr << texts::noLeaseFor(mac->description(), file.path()) << "\n";
            return std::nullopt;
        }
        return texts::forgotLease(mac->description(), removed->ip.description());
    });
}

int clearExpired(const LeaseFileOption& option) {
    if (const auto server = connectToRunningServer(option.file().path())) {
        return editOnServer(
            *server, {{"request", "clear-inactive"}}, [](const nlohmann::json& reply) {
                return texts::clearedExpired(reply.at("cleared").get<std::size_t>());
            });
    }
    return editLeases(option.file(),
                      [](LeaseTable& table, TimePoint now) -> std::optional<std::string> {
                          const int count = table.clearInactive(now);
                          return texts::clearedExpired(static_cast<std::size_t>(count));
                      });
}

} // namespace

void addLeasesCommands(CLI::App& app) {
    auto leasesOption = std::make_shared<LeaseFileOption>();
    auto* leases = app.add_subcommand("leases", "Show the leases in the lease file");
    addLeaseFileOption(*leases, *leasesOption);
    leases->callback([leasesOption] { exitUnlessSucceeded(showLeases(*leasesOption)); });

    auto forgetOption = std::make_shared<LeaseFileOption>();
    auto forgetMAC = std::make_shared<std::string>();
    auto* forgetCommand = app.add_subcommand(
        "forget", "Remove one device's lease; it gets a new address the next time it asks");
    forgetCommand->add_option("MAC", *forgetMAC, "The device's MAC address, e.g. 3c:22:fb:01:02:03")
        ->required();
    addLeaseFileOption(*forgetCommand, *forgetOption);
    forgetCommand->callback(
        [forgetOption, forgetMAC] { exitUnlessSucceeded(forget(*forgetMAC, *forgetOption)); });

    auto clearOption = std::make_shared<LeaseFileOption>();
    auto* clear = app.add_subcommand(
        "clear-expired", "Remove expired, released and reclaimed leases; active leases stay");
    addLeaseFileOption(*clear, *clearOption);
    clear->callback([clearOption] { exitUnlessSucceeded(clearExpired(*clearOption)); });
}

} // namespace corvane::cli
