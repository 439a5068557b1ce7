#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/config/server_config.hpp"
#include "core/events/notice.hpp"
#include "core/events/notice_kind.hpp"
#include "core/events/server_event.hpp"
#include "core/leases/lease.hpp"
#include "core/leases/lease_file.hpp"
#include "core/leases/lease_journal.hpp"
#include "core/leases/lease_table.hpp"
#include "core/packet/dhcp_packet.hpp"
#include "core/presence/presence_state.hpp"
#include "core/presence/probe_result.hpp"
#include "core/responder/decision.hpp"
#include "core/responder/responder.hpp"
#include "core/server/drop_folding.hpp"
#include "core/server/event_stream.hpp"
#include "core/transport/datagram.hpp"
#include "core/transport/transport_mode.hpp"
#include "core/transport/udp_transport.hpp"

namespace corvane {

// The running DHCP service for one card. It owns the socket, the lease table and the
// presence map, hands every request to the responder and carries out its decision (store,
// save, send), watches the card's link every second, probes bound devices every ten seconds,
// and reports all of it as events.
//
// Every field lives on one thread, "corvane.server", that runs the server's event loop; the
// public calls hand their work to it. Blocking probes run on a small pool and come back
// holding the server weakly, so a probe never keeps a finished server alive. Once `start`
// has succeeded nothing is thrown: problems become events.
class DHCPServer : public std::enable_shared_from_this<DHCPServer> {
public:
    using Clock = std::function<TimePoint()>;

    struct Options {
        ServerConfig config;
        TransportMode mode;
        // The served card's hardware address, to find the card again after it was unplugged
        // even when it comes back under another name.
        std::optional<MACAddress> cardMAC;
        LeaseFile leaseFile;
        // Probe bound devices for presence, and addresses for conflicts before reusing them.
        bool presenceEnabled = true;
        // Make each batch's journal records durable with fdatasync before its replies leave:
        // then not even a power cut loses an announced lease.
        bool syncEachBatch = false;
    };

    // The ports a device is asked on besides ICMP echo: web interfaces are the most common
    // listeners on the devices this server is used with.
    static constexpr std::uint16_t presencePorts[] = {80, 443};
    static constexpr std::size_t probeThreads = 4;
    static constexpr std::chrono::seconds linkWatchInterval{1};
    // The first presence cycle comes soon after the start; later ones every
    // Timing::presenceInterval.
    static constexpr std::chrono::seconds firstPresenceDelay{1};
    // A reply the system refused is tried once more after this pause: a firewall rule being
    // reloaded refuses for a moment, a lasting rule refuses again.
    static constexpr std::chrono::seconds sendRetryDelay{1};
    // Datagrams taken from the socket per wake-up and decided, journalled and answered as
    // one batch.
    static constexpr std::size_t maxBatch = 64;
    // A quiet moment this long after the last change rewrites the snapshot and empties the
    // journal; a failed journal write is tried again after it too.
    static constexpr std::chrono::seconds idleSnapshotDelay{2};
    // A probe that found nobody stands for this long, so the client's next DISCOVER for that
    // address is answered at once instead of waiting for a new probe.
    static constexpr std::chrono::seconds quietProbeMemory{30};
    // Requests waiting for probes, across all addresses; one per client per address.
    static constexpr std::size_t maxWaitingForProbes = 256;
    // A client gives up on an exchange after about this long and starts again.
    static constexpr std::chrono::seconds clientPatience{4};
    // Room for a burst of several thousand requests while a snapshot is being written.
    static constexpr int receiveBufferBytes = 8 * 1024 * 1024;

    static Clock systemClock();

    // Builds a server whose loop thread is already waiting; nothing is opened until `start`.
    // The loop and probe threads are created here, in the network namespace of the caller.
    // Releasing the last copy of the returned handle stops the server as `stop` does.
    static std::shared_ptr<DHCPServer> create(Options options, Clock clock = systemClock());

    ~DHCPServer();
    DHCPServer(const DHCPServer&) = delete;
    DHCPServer& operator=(const DHCPServer&) = delete;

    // Loads the leases, opens the socket and starts the link watch and the presence timer.
    // Throws the TransportError of a socket that cannot be opened; the server then stays
    // stopped and may be started again. Does nothing while running or after `stop`.
    void start();
    // Closes the socket, saves the leases, reports `stopped` and ends the event stream, then
    // ends the loop thread. A stopped server cannot be started again; calling it twice is
    // harmless. A server that never ran reports nothing, but its stream ends all the same.
    void stop();
    // These three return at once; their effects arrive as events.
    void forgetLease(const MACAddress& mac);
    void clearInactive();
    void refreshPresence();
    // A copy of the lease table as the server holds it now.
    LeaseTable currentTable();
    // How many lease changes the last stop could not write anywhere; 0 after a clean stop.
    std::size_t changesLostAtStop();
    // The one stream of everything the server reports, for one reader; it lives as long as
    // the server does.
    EventStream& events() { return events_; }

private:
    // Only `create` makes one: the server must be owned by a shared_ptr, since its timers
    // and probes hold it weakly.
    struct ConstructionKey {};

public:
    DHCPServer(ConstructionKey, Options options, Clock clock);

private:
    using ProbeResults = std::unordered_map<IPv4Address, bool>;
    struct WaitingRequest {
        DHCPPacket packet;
        ProbeResults probes;
        std::chrono::steady_clock::time_point since;
    };

    template <typename Work> auto onLoop(Work work) -> decltype(work());
    void endLoop();

    // Lifecycle, on the loop thread.
    void startServing();
    void stopServing();
    void loadLeases();
    void persist();
    // Journals the table's pending changes, then sends the replies held for them; when the
    // journal cannot be written the replies are dropped and the write is tried again later.
    void commitBatch();
    bool writeJournal();
    void snapshot();
    void armSnapshotTimer();
    void sweepLapsedOffers();
    void distrustFreeAddresses();
    void openJournal();
    void saveAtStop();
    void emit(ServerEvent event);
    void releaseHeldEvents();
    void raise(const Notice& notice);
    void clear(NoticeKind kind);
    void forgetOnLoop(const MACAddress& mac);
    void clearInactiveOnLoop();

    // Socket and packets.
    void openTransport();
    void closeTransport();
    void awaitDatagrams();
    void serveBatch(std::uint64_t generation);
    // Serves one batch; true when it was full, so more may be waiting.
    bool drainDatagrams();
    // Reads up to maxBatch datagrams; false once the socket is empty or failed.
    bool receiveBatch(std::vector<DHCPPacket>& batch);
    std::optional<DHCPPacket> handle(const Datagram& datagram);
    static bool queuedTooLong(const Datagram& datagram);
    void process(DHCPPacket packet, ProbeResults probes);
    Decision decideLending(const DHCPPacket& packet, const ProbeResults& probes);
    void apply(Decision decision);
    // Starts a probe of `ip` unless one is running already; the request waits for it.
    void awaitProbe(IPv4Address ip, DHCPPacket packet, ProbeResults probes);
    void probeFinished(IPv4Address ip, bool answered);
    void sendAll(const std::vector<Reply>& replies);
    void send(const Reply& reply, bool retry);
    void reportSent(const Reply& reply);
    void reportSendFailure(const Reply& reply, const TransportError& error, bool retry);
    void retryLater(Reply reply);
    bool serverAddressPresent() const;

    // Link watch and presence.
    void armLinkWatch();
    void watchLink();
    void checkOpenCard();
    void tryReopen();
    void reportLink(bool up, const std::optional<std::string>& media);
    void markAllOffline(std::string_view reason);
    void armPresenceTimer(std::chrono::steady_clock::duration delay);
    void runPresenceCycle();
    void recordPresence(IPv4Address ip, const MACAddress& mac, const ProbeResult& result,
                        const std::optional<MACAddress>& neighbourMAC);

    Options options_;
    Responder responder_;
    Clock clock_;
    std::optional<TimePoint> probeFreeAddressesUntil_;
    EventStream events_;
    // Between the server and its stream: repeated drops are folded there. `passed_` is
    // only reused storage for what one event lets through.
    DropFolding dropFolding_;
    std::vector<ServerEvent> passed_;
    // A batch's events go to the stream together when it ends: one hand-over to the reader
    // per batch instead of one per event.
    bool holdingEvents_ = false;
    std::vector<ServerEvent> heldEvents_;

    // Shared with the probe pool's tasks, which post their results here even when they
    // finish after the server has stopped.
    std::shared_ptr<asio::io_context> context_;
    asio::executor_work_guard<asio::io_context::executor_type> keepAlive_;
    asio::thread_pool probePool_;
    std::thread loopThread_;
    // Guards the hand-over of the loop's end between callers of the public interface.
    std::mutex lifecycleMutex_;
    bool loopEnded_ = false;

    std::unique_ptr<UDPTransport> transport_;
    std::optional<asio::posix::stream_descriptor> readable_;
    // Counts socket openings, so that a wait completing for an earlier socket is ignored.
    std::uint64_t socketGeneration_ = 0;
    asio::steady_timer watchTimer_;
    asio::steady_timer presenceTimer_;
    std::list<asio::steady_timer> retryTimers_;
    asio::steady_timer snapshotTimer_;
    LeaseJournal journal_;
    // Replies of the batch being decided, sent once its changes are in the journal.
    std::vector<Reply> heldReplies_;
    std::size_t changesLostAtStop_ = 0;
    // Conflict probes under way, each with the requests waiting for its answer.
    std::unordered_map<IPv4Address, std::vector<WaitingRequest>> probesUnderWay_;
    std::size_t waitingForProbes_ = 0;
    std::unordered_map<IPv4Address, std::chrono::steady_clock::time_point> quietProbes_;

    std::string interfaceName_;
    bool isOpen_ = false;
    LeaseTable table_;
    std::unordered_map<IPv4Address, PresenceState> presence_;
    bool linkUp_ = true;
    // Told once until a read of the link state works again.
    bool linkReadFailed_ = false;
    // The served card's kind, so a reopen by MAC finds the card and not a bridge over it.
    std::string cardKind_;
    bool running_ = false;
    std::set<NoticeKind> raised_;
    bool arrivalCheckWarned_ = false;
    // False after the lease file could not be read: the file is then never written, so a
    // file the user may still rescue is not replaced by an empty table.
    bool leaseFileWritable_ = true;
};

} // namespace corvane
