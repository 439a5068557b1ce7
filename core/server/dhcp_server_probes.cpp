#include <algorithm>
#include <utility>
#include <vector>

#include <asio/post.hpp>

#include "core/presence/prober.hpp"
#include "core/presence/timing.hpp"
#include "core/server/dhcp_server.hpp"
#include "core/server/server_texts.hpp"

namespace corvane {

// One probe per address at a time: the requests that need its answer wait for it together,
// and a quiet answer is remembered for a while, so a client retrying every second into a pool
// of switched-off devices gets an address instead of restarting the probe each time.
void DHCPServer::awaitProbe(IPv4Address ip, DHCPPacket packet, ProbeResults probes) {
    const auto mac = packet.mac();
    auto [entry, isNew] = probesUnderWay_.try_emplace(ip);
    auto& waiting = entry->second;
    // A client that asks again replaces its earlier request: only the latest is answered.
    const auto earlier = std::ranges::find_if(
        waiting, [&](const WaitingRequest& request) { return request.packet.mac() == mac; });
    if (earlier != waiting.end()) {
        *earlier =
            WaitingRequest{std::move(packet), std::move(probes), std::chrono::steady_clock::now()};
        return;
    }
    if (waitingForProbes_ >= maxWaitingForProbes) {
        emit(ServerEvent::Dropped{std::string(server_texts::tooManyWaitingForProbes), mac});
        if (isNew) {
            probesUnderWay_.erase(entry);
        }
        return;
    }
    waiting.push_back(
        WaitingRequest{std::move(packet), std::move(probes), std::chrono::steady_clock::now()});
    ++waitingForProbes_;
    if (!isNew) {
        return;
    }
    emit(ServerEvent::Info{server_texts::probingBeforeReuse(ip)});
    const std::vector<std::uint16_t> ports(std::begin(presencePorts), std::end(presencePorts));
    asio::post(probePool_, [weak = weak_from_this(), context = context_,
                            prober = Prober(interfaceName_, ports), ip]() mutable {
        const bool answered = prober.probe(ip, Timing::probeTimeout).answered;
        asio::post(*context, [weak, ip, answered] {
            const auto self = weak.lock();
            if (self && self->running_) {
                self->probeFinished(ip, answered);
            }
        });
    });
}

void DHCPServer::probeFinished(IPv4Address ip, bool answered) {
    const auto entry = probesUnderWay_.find(ip);
    if (entry == probesUnderWay_.end()) {
        return;
    }
    auto waiting = std::move(entry->second);
    probesUnderWay_.erase(entry);
    waitingForProbes_ -= waiting.size();
    if (answered) {
        presence_[ip] = PresenceState::online;
        quietProbes_.erase(ip);
    } else {
        quietProbes_[ip] = std::chrono::steady_clock::now();
    }
    const auto now = std::chrono::steady_clock::now();
    std::erase_if(quietProbes_,
                  [&](const auto& quiet) { return now - quiet.second >= quietProbeMemory; });
    for (auto& request : waiting) {
        if (now - request.since > clientPatience) {
            // The client has given up on this exchange; an answer now would only hold an
            // address for nobody.
            emit(ServerEvent::Dropped{std::string(server_texts::waitedTooLong),
                                      request.packet.mac()});
            continue;
        }
        request.probes[ip] = answered;
        try {
            process(std::move(request.packet), std::move(request.probes));
        } catch (const std::exception& error) {
            emit(ServerEvent::Info{server_texts::packetFailed(error.what())});
        }
    }
    commitBatch();
}

} // namespace corvane
