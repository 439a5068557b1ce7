#include "core/server/dhcp_server.hpp"

#include <algorithm>
#include <future>
#include <iterator>
#include <utility>
#include <vector>

#include <asio/post.hpp>
#include <pthread.h>

#include "core/events/notice_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/server/server_texts.hpp"

namespace corvane {

DHCPServer::Clock DHCPServer::systemClock() {
    return [] { return std::chrono::system_clock::now(); };
}

// The caller's handle has a control block of its own, apart from the one the loop's handlers
// lock their weak references through. Its last release therefore stops the server on the
// releasing thread, joining the loop, before the server goes; were the handlers' references
// the same, a handler could end up holding the last one, and a thread cannot join itself.
std::shared_ptr<DHCPServer> DHCPServer::create(Options options, Clock clock) {
    auto owner =
        std::make_shared<DHCPServer>(ConstructionKey{}, std::move(options), std::move(clock));
    DHCPServer* const server = owner.get();
    return std::shared_ptr<DHCPServer>(server,
                                       [owner = std::move(owner)](DHCPServer* handle) mutable {
                                           handle->stop();
                                           owner.reset();
                                       });
}

DHCPServer::DHCPServer(ConstructionKey, Options options, Clock clock)
    : options_(std::move(options)), responder_(options_.config), clock_(std::move(clock)),
      context_(std::make_shared<asio::io_context>(1)), keepAlive_(asio::make_work_guard(*context_)),
      probePool_(probeThreads), watchTimer_(*context_), presenceTimer_(*context_),
      snapshotTimer_(*context_), journal_(options_.leaseFile.journalPath(), options_.syncEachBatch),
      interfaceName_(options_.mode.interfaceName()) {
    loopThread_ = std::thread([context = context_] {
        pthread_setname_np(pthread_self(), "corvane.server");
        context->run();
    });
}

DHCPServer::~DHCPServer() {
    stop();
}

// Runs `work` on the loop thread and waits for its result or its exception. Once the loop
// has ended no other thread touches the fields any more, so the caller may run it itself.
// Callers hold lifecycleMutex_.
template <typename Work> auto DHCPServer::onLoop(Work work) -> decltype(work()) {
    if (loopEnded_ || context_->get_executor().running_in_this_thread()) {
        return work();
    }
    std::packaged_task<decltype(work())()> task(std::move(work));
    auto result = task.get_future();
    asio::post(*context_, std::move(task));
    return result.get();
}

void DHCPServer::start() {
    const std::lock_guard lock(lifecycleMutex_);
    if (loopEnded_) {
        return;
    }
    onLoop([this] { startServing(); });
}

void DHCPServer::stop() {
    const std::lock_guard lock(lifecycleMutex_);
    if (loopEnded_) {
        return;
    }
    onLoop([this] { stopServing(); });
    endLoop();
}

void DHCPServer::forgetLease(const MACAddress& mac) {
    asio::post(*context_, [weak = weak_from_this(), mac] {
        if (const auto self = weak.lock()) {
            self->forgetOnLoop(mac);
        }
    });
}

void DHCPServer::clearInactive() {
    asio::post(*context_, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->clearInactiveOnLoop();
        }
    });
}

void DHCPServer::refreshPresence() {
    asio::post(*context_, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->runPresenceCycle();
        }
    });
}

LeaseTable DHCPServer::currentTable() {
    const std::lock_guard lock(lifecycleMutex_);
    return onLoop([this] { return table_; });
}

std::size_t DHCPServer::changesLostAtStop() {
    const std::lock_guard lock(lifecycleMutex_);
    return onLoop([this] { return changesLostAtStop_; });
}

void DHCPServer::endLoop() {
    keepAlive_.reset();
    context_->stop();
    loopThread_.join();
    loopEnded_ = true;
    // Probes under way finish within their timeout; their results find no server running.
    probePool_.stop();
    // Also ends the stream of a server that never started, so no reader waits for ever.
    events_.finish();
}

void DHCPServer::startServing() {
    if (running_) {
        return;
    }
    loadLeases();
    openTransport();
    running_ = true;
    emit(ServerEvent::Started{interfaceName_, options_.config});
    for (const auto& lease : table_.leases()) {
        emit(ServerEvent::LeaseChanged{lease});
    }
    openJournal();
    if (!options_.mode.isLoopback()) {
        cardKind_ = Interfaces::linkKind(interfaceName_).value_or("");
        const auto media = Interfaces::mediaStatus(interfaceName_);
        linkUp_ = media.linkUp;
        emit(ServerEvent::Link{media.linkUp, media.description});
        if (!linkUp_) {
            raise(Notice::linkDown(interfaceName_));
        }
        armLinkWatch();
    }
    if (options_.presenceEnabled) {
        armPresenceTimer(firstPresenceDelay);
    }
}

void DHCPServer::stopServing() {
    if (!running_) {
        return;
    }
    running_ = false;
    watchTimer_.cancel();
    presenceTimer_.cancel();
    snapshotTimer_.cancel();
    for (auto& timer : retryTimers_) {
        timer.cancel();
    }
    closeTransport();
    saveAtStop();
    emit(ServerEvent::Stopped{});
    events_.finish();
}

void DHCPServer::loadLeases() {
    leaseFileWritable_ = true;
    try {
        auto loaded = options_.leaseFile.load(clock_());
        table_ = std::move(loaded.table);
        if (loaded.setAsideURL) {
            raise(Notice::leaseFileSetAside(*loaded.setAsideURL, table_.leases().size()));
        }
        if (!loaded.droppedRecords.empty()) {
            emit(ServerEvent::Info{notice_texts::leaseRecordsDropped(
                table_.leases().size() + table_.quarantine().size(), loaded.droppedRecords)});
        }
        if (loaded.uncleanStop) {
            emit(ServerEvent::Info{std::string(server_texts::uncleanStopFound)});
            distrustFreeAddresses();
        }
    } catch (const std::exception& error) {
        leaseFileWritable_ = false;
        table_ = LeaseTable();
        raise(Notice::leaseFileUnreadable(error.what()));
    }
    // A reserved device keeps its lease outside the range: the reservation put it there.
    const auto& config = options_.config;
    const auto dropped = table_.dropOutside(config.range(), [&config](const Lease& lease) {
        const auto* reservation = config.reservationFor(lease.mac);
        return reservation && reservation->ip == lease.ip;
    });
    for (const auto& lease : dropped) {
        emit(ServerEvent::Info{server_texts::droppedOutsideRange(lease.ip, lease.mac)});
        emit(ServerEvent::LeaseRemoved{lease.mac});
    }
}

void DHCPServer::persist() {
    commitBatch();
}

void DHCPServer::emit(ServerEvent event) {
    dropFolding_.pass(std::move(event), clock_(), passed_);
    if (holdingEvents_) {
        std::ranges::move(passed_, std::back_inserter(heldEvents_));
        passed_.clear();
        return;
    }
    events_.pushAll(passed_);
}

void DHCPServer::releaseHeldEvents() {
    holdingEvents_ = false;
    events_.pushAll(heldEvents_);
}

// Raising a kind that is already raised reports it again: its consumers replace by kind.
void DHCPServer::raise(const Notice& notice) {
    raised_.insert(notice.kind);
    emit(ServerEvent::NoticeRaised{notice});
}

void DHCPServer::clear(NoticeKind kind) {
    if (raised_.erase(kind) > 0) {
        emit(ServerEvent::NoticeCleared{kind});
    }
}

void DHCPServer::forgetOnLoop(const MACAddress& mac) {
    if (!running_) {
        return;
    }
    if (table_.remove(mac)) {
        emit(ServerEvent::LeaseRemoved{mac});
        persist();
    }
}

void DHCPServer::clearInactiveOnLoop() {
    if (!running_) {
        return;
    }
    const auto now = clock_();
    std::vector<MACAddress> inactive;
    for (const auto& lease : table_.leases()) {
        if (!lease.holdsAddress(now)) {
            inactive.push_back(lease.mac);
        }
    }
    if (inactive.empty()) {
        return;
    }
    table_.clearInactive(now);
    for (const auto& mac : inactive) {
        emit(ServerEvent::LeaseRemoved{mac});
    }
    persist();
}

} // namespace corvane
