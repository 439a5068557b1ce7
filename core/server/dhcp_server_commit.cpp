#include <algorithm>

#include "core/server/dhcp_server.hpp"
#include "core/server/server_texts.hpp"

namespace corvane {

// Starts from a fresh snapshot, so the journal holds only what this run changes, and marks
// the journal as in use so that a start after a crash knows.
void DHCPServer::openJournal() {
    if (!leaseFileWritable_) {
        return;
    }
    try {
        options_.leaseFile.save(table_);
        table_.takeChanges();
    } catch (const std::exception& error) {
        emit(ServerEvent::Info{server_texts::snapshotFailed(error.what())});
    }
    try {
        journal_.open();
    } catch (const std::exception& error) {
        raise(Notice::leaseSaveFailed(error.what()));
        distrustFreeAddresses();
    }
}

// A crash or a failed write may have cost the table leases that devices still use, and a
// device keeps its address for up to one lease time without asking.
void DHCPServer::distrustFreeAddresses() {
    probeFreeAddressesUntil_ = clock_() + std::chrono::seconds{responder_.config().leaseSeconds};
}

bool DHCPServer::writeJournal() {
    if (!leaseFileWritable_ || (table_.changes().empty() && journal_.isOpen())) {
        return true;
    }
    try {
        if (!journal_.isOpen()) {
            journal_.open();
        }
        journal_.append(lease_journal::encodeChanges(table_, table_.changes()));
    } catch (const std::exception& error) {
        distrustFreeAddresses();
        if (!raised_.contains(NoticeKind::leaseSaveFailed)) {
            raise(Notice::leaseSaveFailed(error.what()));
        }
        return false;
    }
    table_.takeChanges();
    clear(NoticeKind::leaseSaveFailed);
    return true;
}

void DHCPServer::commitBatch() {
    auto replies = std::exchange(heldReplies_, {});
    if (!writeJournal()) {
        // The table may not be announced ahead of the disk: the clients ask again, and the
        // timer below retries the write meanwhile.
        for (const auto& reply : replies) {
            emit(ServerEvent::Info{server_texts::notSent(reply.type, server_texts::leaseNotSaved)});
        }
        armSnapshotTimer();
        return;
    }
    sendAll(replies);
    // A journal longer than the table costs more to replay than the snapshot would.
    if (journal_.recordsSinceSnapshot() > std::max<std::size_t>(table_.leases().size(), maxBatch)) {
        snapshot();
    } else if (journal_.recordsSinceSnapshot() > 0) {
        armSnapshotTimer();
    }
}

// Offers nobody took would otherwise stay until a stranger needs their room; the journal
// carries their removal with its next write.
void DHCPServer::sweepLapsedOffers() {
    const auto removed = table_.removeLapsedOffers(clock_());
    for (const auto& lease : removed) {
        emit(ServerEvent::LeaseRemoved{lease.mac});
    }
    if (!removed.empty()) {
        writeJournal();
    }
}

void DHCPServer::snapshot() {
    if (!leaseFileWritable_ || !writeJournal()) {
        return;
    }
    try {
        options_.leaseFile.save(table_);
        journal_.restart();
    } catch (const std::exception& error) {
        // Nothing is lost: the journal still holds every change.
        emit(ServerEvent::Info{server_texts::snapshotFailed(error.what())});
    }
}

void DHCPServer::armSnapshotTimer() {
    snapshotTimer_.expires_after(idleSnapshotDelay);
    snapshotTimer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        const auto self = weak.lock();
        if (error || !self || !self->running_) {
            return;
        }
        if (self->table_.changes().empty()) {
            self->snapshot();
        } else {
            self->commitBatch();
        }
    });
}

// A clean stop leaves a snapshot and an empty journal. When the snapshot cannot be written
// the journal still holds the changes it took; only those it never took are lost.
void DHCPServer::saveAtStop() {
    heldReplies_.clear();
    if (!leaseFileWritable_) {
        return;
    }
    const bool journalled = writeJournal();
    try {
        options_.leaseFile.save(table_);
        table_.takeChanges();
        clear(NoticeKind::leaseSaveFailed);
    } catch (const std::exception& error) {
        if (!journalled) {
            const auto& changes = table_.changes();
            changesLostAtStop_ = changes.macs.size() + (changes.quarantine ? 1 : 0);
            raise(Notice::leaseSaveFailed(error.what()));
            emit(ServerEvent::Info{server_texts::changesLost(changesLostAtStop_)});
        }
    }
    journal_.close();
}

} // namespace corvane
