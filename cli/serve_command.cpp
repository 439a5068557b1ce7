#include <algorithm>
#include <cerrno>
#include <iostream>

#include "cli/config_flags.hpp"
#include "cli/event_printer.hpp"
#include "cli/serve_control.hpp"
#include "cli/serve_texts.hpp"
#include "cli/serve_until_stopped.hpp"
#include "cli/stop_signals.hpp"
#include "cli/subcommands.hpp"
#include "cli/usage_error.hpp"
#include "core/capture/session_capture.hpp"
#include "core/events/notice_texts.hpp"
#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/preflight.hpp"
#include "core/log/local_time_zone.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/transport/transport_error.hpp"

namespace corvane::cli {
namespace {

struct ServeOptions {
    std::string interfaceName;
    ConfigFlags flags;
    std::string leaseFile;
    std::string logDirectory;
    bool noPresence = false;
    bool force = false;
    bool json = false;
    bool sync = false;
    std::string pcapFile;
};

NetworkCard findCard(const std::vector<NetworkCard>& cards, const std::string& name) {
    const auto card = std::find_if(cards.begin(), cards.end(),
                                   [&](const NetworkCard& entry) { return entry.bsdName == name; });
    if (card == cards.end()) {
        throw UsageError({texts::unknownInterface(name)});
    }
    return *card;
}

// True when every check passed or only warned; otherwise the failures are on stderr.
bool preflightAllows(const NetworkCard& card, const ServerConfig& config, bool showVirtual,
                     const ProcessRunner& runner) {
    const auto checks = Preflight::evaluate(Preflight::gather(card, config, showVirtual, runner));
    if (Preflight::canStart(checks)) {
        return true;
    }
    std::cerr << texts::preflightRefused << "\n";
    for (const auto& check : checks) {
        if (check.status == PreflightCheck::Status::fail) {
            std::cerr << statusSymbol(check.status) << " " << check.message << "\n";
        }
    }
    std::cerr << texts::preflightRefusedHint << "\n";
    return false;
}

// The start failure as the user should read it: a busy port names the program holding it.
std::string startFailureText(const TransportError& error, const std::string& cardName,
                             const ProcessRunner& runner) {
    if (error.code() != EADDRINUSE) {
        return error.description();
    }
    const auto state = Preflight::port67State(cardName, runner);
    const auto* inUse = std::get_if<Port67InUse>(&state);
    const auto holder = inUse != nullptr && inUse->holder
                            ? *inUse->holder
                            : std::string(host_texts::unknownPortHolder);
    return notice_texts::portInUse(holder);
}

// False, with the reason on stderr, when the capture cannot start.
bool openCapture(const std::string& cardName, const std::string& file,
                 std::unique_ptr<SessionCapture>& capture) {
    try {
        capture = std::make_unique<SessionCapture>(cardName, file);
        return true;
    } catch (const CaptureError& error) {
        std::cerr << error.what() << "\n";
        return false;
    }
}

int serve(const ServeOptions& options) {
    const auto settings = userSettings();
    const auto config =
        options.flags.resolve(settings ? settings->serverConfig() : ServerConfig::defaultConfig());
    const bool showVirtual =
        options.flags.showVirtualCards(settings && settings->showVirtualCards());
    const ProcessRunner runner;
    const auto card =
        findCard(Interfaces::list(runner), options.flags.interfaceName(options.interfaceName));
    if (!options.force && !preflightAllows(card, config, showVirtual, runner)) {
        return refusedStatus;
    }

    const LeaseFile leaseFile(options.leaseFile.empty() ? LeaseFile::defaultPath()
                                                        : std::filesystem::path(options.leaseFile));
    std::error_code ignored;
    std::filesystem::create_directories(leaseFile.path().parent_path(), ignored);
    LeaseFileLock lock(leaseFile.path());
    if (lock.state() == LeaseFileLock::State::inUseElsewhere) {
        std::cerr << texts::leaseFileInUseByServer(leaseFile.path()) << "\n";
        return refusedStatus;
    }

    // Before the log writer and the server start their threads, so that they inherit the
    // blocked stop signals.
    StopSignals signals;
    const auto zone = localTimeZone();
    LogFileWriter logFile(options.logDirectory.empty()
                              ? LogFileWriter::defaultDirectory()
                              : std::filesystem::path(options.logDirectory),
                          zone, [](const std::string& problem) { std::cerr << problem << "\n"; });
    const bool sync = options.sync || (settings && settings->syncLeaseWrites());
    const auto server =
        DHCPServer::create(DHCPServer::Options{config, TransportMode::interface(card.bsdName),
                                               card.mac, leaseFile, !options.noPresence, sync});
    // Opened before the start, so that the run's first exchange is in the file.
    std::unique_ptr<SessionCapture> capture;
    if (!options.pcapFile.empty() && !openCapture(card.bsdName, options.pcapFile, capture)) {
        return refusedStatus;
    }
    try {
        server->start();
    } catch (const TransportError& error) {
        std::cerr << startFailureText(error, card.bsdName, runner) << "\n";
        return refusedStatus;
    }
    EventPrinter printer(std::cout,
                         options.json ? EventPrinter::Format::json : EventPrinter::Format::text,
                         logFile, zone);
    const auto control = openControlChannel(server, lock);
    serveUntilStopped(*server, card.bsdName, signals, printer, std::nullopt,
                      controlHooks(control.get()));
    if (const auto lost = server->changesLostAtStop(); lost > 0) {
        std::cerr << texts::leaseChangesLost(lost) << "\n";
        return refusedStatus;
    }
    return successStatus;
}

} // namespace

void addServeCommand(CLI::App& app) {
    auto options = std::make_shared<ServeOptions>();
    auto* command = app.add_subcommand(
        "serve", "Serve DHCP on one card until Ctrl-C, printing every event as it happens");
    addInterfaceOption(*command, options->interfaceName);
    options->flags.addTo(*command);
    command->add_option("--lease-file", options->leaseFile,
                        "The lease file to use instead of the user's leases.json");
    command->add_option("--log-dir", options->logDirectory,
                        "The folder for the daily log files instead of the user's log folder");
    command->add_flag("--no-presence", options->noPresence,
                      "Do not probe devices for presence or addresses for conflicts");
    command->add_flag("--force", options->force, "Serve even when a check before the start fails");
    command->add_flag("--json", options->json, "Print each event as one JSON object per line");
    command->add_flag("--sync", options->sync,
                      "Flush each batch of lease changes to the disk before replying, so that "
                      "not even a power cut loses an announced lease");
    command->add_option(
        "--pcap", options->pcapFile,
        "Write every DHCP packet on the card to this pcap file (tcpdump, Wireshark)");
    command->callback([options] { exitUnlessSucceeded(serve(*options)); });
}

} // namespace corvane::cli
