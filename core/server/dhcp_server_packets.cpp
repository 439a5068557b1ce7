#include <algorithm>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include <asio/post.hpp>
#include <sys/socket.h>

#include "core/events/packet_summary.hpp"
#include "core/events/sent_summary.hpp"
#include "core/host/interfaces.hpp"
#include "core/presence/prober.hpp"
#include "core/presence/timing.hpp"
#include "core/server/arrival_check.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/server/server_texts.hpp"
#include "core/transport/local_network.hpp"

namespace corvane {

namespace {

// Root may go past the system's limit; anyone else gets as much of it as allowed.
void enlargeReceiveBuffer(int descriptor) {
    const int bytes = DHCPServer::receiveBufferBytes;
    if (::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
        ::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    }
}

} // namespace

// Replaces the transport only once the new socket is open, so a failed reopen leaves the
// server as it was.
void DHCPServer::openTransport() {
    auto mode =
        options_.mode.isLoopback() ? options_.mode : TransportMode::interface(interfaceName_);
    auto transport = std::make_unique<UDPTransport>(std::move(mode));
    transport->open();
    transport_ = std::move(transport);
    enlargeReceiveBuffer(transport_->descriptor());
    readable_.emplace(*context_, transport_->descriptor());
    ++socketGeneration_;
    isOpen_ = true;
    awaitDatagrams();
}

void DHCPServer::closeTransport() {
    if (readable_) {
        // The descriptor belongs to the transport: let go of it without closing, which also
        // aborts the pending wait.
        readable_->release();
        readable_.reset();
    }
    if (transport_) {
        transport_->close();
    }
    isOpen_ = false;
}

// Asio watches descriptors edge-triggered: a wait completes for datagrams that arrive after
// it, so the socket is read until it is empty before waiting again. A full batch may leave
// more behind; the next batch is then queued behind the loop's other work (probe answers,
// timers) instead of waiting, so a flood cannot starve them.
void DHCPServer::awaitDatagrams() {
    readable_->async_wait(
        asio::posix::stream_descriptor::wait_read,
        [weak = weak_from_this(), generation = socketGeneration_](const asio::error_code& error) {
            if (error) {
                return;
            }
            if (const auto self = weak.lock()) {
                self->serveBatch(generation);
            }
        });
}

void DHCPServer::serveBatch(std::uint64_t generation) {
    if (!running_ || !isOpen_ || socketGeneration_ != generation) {
        return;
    }
    const bool more = drainDatagrams();
    if (!isOpen_ || socketGeneration_ != generation) {
        return;
    }
    if (!more) {
        awaitDatagrams();
        return;
    }
    asio::post(*context_, [weak = weak_from_this(), generation] {
        if (const auto self = weak.lock()) {
            self->serveBatch(generation);
        }
    });
}

// One batch: every request is decided in order against the table, REQUESTs first since they
// finish exchanges a DISCOVER only starts; then one journal write, then the replies.
bool DHCPServer::drainDatagrams() {
    holdingEvents_ = true;
    struct ReleaseAtEnd {
        DHCPServer& server;
        ~ReleaseAtEnd() { server.releaseHeldEvents(); }
    } releaseAtEnd{*this};
    std::vector<DHCPPacket> batch;
    const bool full = receiveBatch(batch);
    std::stable_partition(batch.begin(), batch.end(), [](const DHCPPacket& packet) {
        return packet.messageType() != DHCPMessageType::discover;
    });
    for (auto& packet : batch) {
        try {
            process(std::move(packet), {});
        } catch (const std::exception& error) {
            emit(ServerEvent::Info{server_texts::packetFailed(error.what())});
        }
    }
    commitBatch();
    return full;
}

bool DHCPServer::receiveBatch(std::vector<DHCPPacket>& batch) {
    for (std::size_t read = 0; read < maxBatch && isOpen_; ++read) {
        std::optional<Datagram> datagram;
        try {
            datagram = transport_->receive();
        } catch (const TransportError& error) {
            // An interrupted or failed read does not end the batch: the next one may succeed.
            emit(ServerEvent::Info{server_texts::receiveFailed(error.description())});
            continue;
        }
        if (!datagram) {
            return false;
        }
        if (auto packet = handle(*datagram)) {
            batch.push_back(std::move(*packet));
        }
    }
    return isOpen_;
}

std::optional<DHCPPacket> DHCPServer::handle(const Datagram& datagram) {
    if (!options_.mode.isLoopback()) {
        if (auto reason = wrongCardReason(datagram.interfaceIndex, transport_->interfaceIndex(),
                                          interfaceName_)) {
            emit(ServerEvent::Dropped{std::move(*reason), std::nullopt});
            return std::nullopt;
        }
    }
    if (!datagram.interfaceIndex && !arrivalCheckWarned_) {
        arrivalCheckWarned_ = true;
        emit(ServerEvent::Info{std::string(server_texts::arrivalCheckUnavailable)});
    }
    auto parsed = DHCPPacket::parse(datagram.bytes);
    if (const auto* error = std::get_if<PacketError>(&parsed)) {
        emit(ServerEvent::Dropped{server_texts::malformed(error->description()), std::nullopt});
        return std::nullopt;
    }
    auto& packet = std::get<DHCPPacket>(parsed);
    emit(ServerEvent::Received{PacketSummary(packet, interfaceName_)});
    if (packet.messageType() == DHCPMessageType::discover && queuedTooLong(datagram)) {
        emit(ServerEvent::Dropped{std::string(server_texts::queuedTooLong), packet.mac()});
        return std::nullopt;
    }
    return std::move(packet);
}

// Under a flood a DISCOVER can sit in the socket's queue until its client has given up; an
// offer then would only hold an address for nobody and delay the requests behind it. The
// kernel stamps arrivals with the real-time clock, so the age is taken from that clock and
// not from the server's lease clock. A clock stepped back makes nothing look stale; one stepped
// forward drops what is queued at that moment once, and those clients ask again.
bool DHCPServer::queuedTooLong(const Datagram& datagram) {
    return datagram.receivedAt &&
           std::chrono::system_clock::now() - *datagram.receivedAt > clientPatience;
}

// The table and the presence map are lent to the responder rather than copied: at ten
// thousand devices the copies alone would cost several times the decision. The table comes
// back in the decision, or in the context if the decision throws; the responder takes
// nothing else from the context.
Decision DHCPServer::decideLending(const DHCPPacket& packet, const ProbeResults& probes) {
    DecisionContext context{.table = std::move(table_),
                            .presence = std::move(presence_),
                            .probes = probes,
                            .now = clock_(),
                            .probingAvailable = options_.presenceEnabled,
                            .probeFreeAddressesUntil = probeFreeAddressesUntil_};
    try {
        auto decision = responder_.decide(packet, std::move(context));
        presence_ = std::move(context.presence); // NOLINT(bugprone-use-after-move)
        return decision;
    } catch (...) {
        table_ = std::move(context.table);       // NOLINT(bugprone-use-after-move)
        presence_ = std::move(context.presence); // NOLINT(bugprone-use-after-move)
        throw;
    }
}

// The responder may ask whether a device still answers on an address before handing it to
// someone else. The probe blocks for up to a second, so it runs on the pool and the packet is
// decided again, against the table as it is then, when the answer is back.
void DHCPServer::process(DHCPPacket packet, ProbeResults probes) {
    auto decision = decideLending(packet, probes);
    const auto* probe = std::get_if<ProbeAddress>(&decision.action);
    if (probe == nullptr) {
        apply(std::move(decision));
        return;
    }
    table_ = std::move(decision.table);
    const IPv4Address ip = probe->ip;
    const auto quiet = quietProbes_.find(ip);
    const bool recentlyQuiet = quiet != quietProbes_.end() &&
                               std::chrono::steady_clock::now() - quiet->second < quietProbeMemory;
    // Without probing the responder never asks for one, so only a remembered answer is left.
    if (recentlyQuiet) {
        probes[ip] = false;
        process(std::move(packet), std::move(probes));
        return;
    }
    awaitProbe(ip, std::move(packet), std::move(probes));
}

void DHCPServer::apply(Decision decision) {
    table_ = std::move(decision.table);
    for (auto& note : decision.notes) {
        if (const auto* raised = note.as<ServerEvent::NoticeRaised>()) {
            raised_.insert(raised->notice.kind);
        }
        emit(std::move(note));
    }
    if (auto* reply = std::get_if<Reply>(&decision.action)) {
        heldReplies_.push_back(std::move(*reply));
    }
}

// A batch's replies leave with one system call where the kernel takes them all; a reply it
// refuses goes through `send`, which retries or names the refusal, and the rest follow.
void DHCPServer::sendAll(const std::vector<Reply>& replies) {
    std::vector<Bytes> datagrams;
    std::vector<ReplyDestination> destinations;
    for (const auto& reply : replies) {
        datagrams.push_back(reply.packet.serialize(DHCPPacket::minimumReplyLength));
        destinations.push_back(reply.destination);
    }
    std::size_t next = 0;
    while (next < replies.size() && isOpen_) {
        const auto sent = transport_->sendMany(std::span(datagrams).subspan(next),
                                               std::span(destinations).subspan(next));
        if (sent > 0) {
            clear(NoticeKind::localNetworkDenied);
        }
        for (auto index = next; index < next + sent; ++index) {
            reportSent(replies[index]);
        }
        next += sent;
        if (next < replies.size()) {
            send(replies[next], true);
            ++next;
        }
    }
    for (; next < replies.size(); ++next) {
        send(replies[next], true);
    }
}

void DHCPServer::reportSent(const Reply& reply) {
    emit(ServerEvent::Sent{SentSummary{reply.type, reply.ip, reply.mac, reply.destination,
                                       interfaceName_, reply.note}});
}

void DHCPServer::send(const Reply& reply, bool retry) {
    if (!isOpen_) {
        emit(ServerEvent::Info{server_texts::notSent(reply.type, server_texts::socketClosed)});
        return;
    }
    try {
        transport_->send(reply.packet.serialize(DHCPPacket::minimumReplyLength), reply.destination);
    } catch (const TransportError& error) {
        reportSendFailure(reply, error, retry);
        return;
    } catch (const std::exception& error) {
        emit(ServerEvent::Info{server_texts::notSent(reply.type, error.what())});
        return;
    }
    clear(NoticeKind::localNetworkDenied);
    reportSent(reply);
}

void DHCPServer::reportSendFailure(const Reply& reply, const TransportError& error, bool retry) {
    const auto failure = LocalNetwork::classify(error, linkUp_, serverAddressPresent());
    switch (failure.kind()) {
    case SendFailure::Kind::linkDown:
        emit(ServerEvent::Info{server_texts::notSent(reply.type, server_texts::linkDown)});
        return;
    case SendFailure::Kind::addressMissing:
        emit(ServerEvent::Info{server_texts::notSent(
            reply.type, server_texts::addressNotOnCard(options_.config.serverIP, interfaceName_))});
        return;
    case SendFailure::Kind::possiblyDenied:
        // One refusal may be a rule being reloaded; two in a row are worth the user's time.
        if (retry) {
            retryLater(reply);
        } else {
            raise(Notice::localNetworkDenied());
        }
        return;
    case SendFailure::Kind::other:
        emit(ServerEvent::Info{server_texts::notSent(reply.type, failure.text())});
        return;
    }
}

void DHCPServer::retryLater(Reply reply) {
    const auto timer = retryTimers_.emplace(retryTimers_.end(), *context_);
    timer->expires_after(sendRetryDelay);
    timer->async_wait(
        [weak = weak_from_this(), timer, reply = std::move(reply)](const asio::error_code& error) {
            if (error) {
                return;
            }
            const auto self = weak.lock();
            if (!self || !self->running_) {
                return;
            }
            self->retryTimers_.erase(timer);
            self->send(reply, false);
        });
}

bool DHCPServer::serverAddressPresent() const {
    for (const auto& entry : Interfaces::interfaceAddresses()) {
        if (entry.name == interfaceName_ && entry.subnet.address == options_.config.serverIP) {
            return true;
        }
    }
    return false;
}

} // namespace corvane
