#include "core/control/control_server.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "core/control/control_error.hpp"
#include "core/control/control_texts.hpp"
#include "core/control/event_subject.hpp"
#include "core/log/event_log.hpp"

namespace corvane {

struct ControlServer::Client {
    int descriptor = -1;
    std::string unread;
    std::string unsent;
    std::optional<Subscription> subscription;
    // Set after a reply that ends the conversation: close once it is sent.
    bool closing = false;
    bool dropped = false;
};

namespace {

[[noreturn]] void fail(std::string_view operation, const std::filesystem::path& path) {
    throw ControlError(control_texts::socketFailed(operation, path.string(), std::strerror(errno)));
}

int listenAt(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.string().size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        fail("create", path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.string().size() + 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        fail("create", path);
    }
    ::unlink(path.c_str());
    if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::chmod(path.c_str(), 0600) != 0 || ::listen(descriptor, 16) != 0) {
        const int saved = errno;
        ::close(descriptor);
        errno = saved;
        fail("open", path);
    }
    return descriptor;
}

// Only this user (or root) may drive the server, whatever the socket's mode says.
bool peerAllowed(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return false;
    }
    return peer.uid == ::geteuid() || peer.uid == 0;
}

} // namespace

ControlServer::ControlServer(std::filesystem::path socketPath, ControlHandler handler)
    : socketPath_(std::move(socketPath)), handler_(std::move(handler)) {
    listener_ = listenAt(socketPath_);
    wakeup_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wakeup_ < 0) {
        ::close(listener_);
        ::unlink(socketPath_.c_str());
        fail("start", socketPath_);
    }
    thread_ = std::thread([this] { run(); });
}

ControlServer::~ControlServer() {
    {
        const std::lock_guard lock(publishedMutex_);
        ending_ = true;
    }
    wake();
    thread_.join();
    for (auto& client : clients_) {
        // One last try, so that a follower still gets the final events of the run.
        writeTo(client);
        ::close(client.descriptor);
    }
    ::close(wakeup_);
    ::close(listener_);
    ::unlink(socketPath_.c_str());
}

void ControlServer::publish(const ServerEvent& event, TimePoint at) {
    if (subscribers_.load() == 0) {
        return;
    }
    auto line = EventLog::json(event, at);
    if (!line) {
        return;
    }
    {
        const std::lock_guard lock(publishedMutex_);
        published_.push_back({std::move(*line), eventSubject(event)});
    }
    wake();
}

void ControlServer::refuseRequests() {
    const std::lock_guard lock(requestsMutex_);
    refusing_ = true;
}

void ControlServer::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeup_, &one, sizeof(one));
}

void ControlServer::run() {
    while (true) {
        std::vector<pollfd> watched{{listener_, POLLIN, 0}, {wakeup_, POLLIN, 0}};
        for (const auto& client : clients_) {
            const short wanted = client.unsent.empty() ? POLLIN : POLLIN | POLLOUT;
            watched.push_back({client.descriptor, wanted, 0});
        }
        if (::poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR) {
            return;
        }
        if ((watched[1].revents & POLLIN) != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const auto read = ::read(wakeup_, &count, sizeof(count));
        }
        // The last events, `stopped` among them, still go out before the thread ends.
        fanOut();
        for (std::size_t index = 0; index + 2 < watched.size(); ++index) {
            auto& client = clients_[index];
            const auto ready = watched[index + 2].revents;
            if ((ready & (POLLIN | POLLHUP | POLLERR)) != 0 && !readFrom(client)) {
                client.dropped = true;
            }
            if (!client.dropped && !writeTo(client)) {
                client.dropped = true;
            }
        }
        std::erase_if(clients_, [](const Client& client) {
            if (client.dropped) {
                ::close(client.descriptor);
            }
            return client.dropped;
        });
        countSubscribers();
        if ((watched[0].revents & POLLIN) != 0) {
            accept();
        }
        const std::lock_guard lock(publishedMutex_);
        if (ending_ && published_.empty()) {
            return;
        }
    }
}

void ControlServer::accept() {
    const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    if (!peerAllowed(descriptor)) {
        ::close(descriptor);
        return;
    }
    clients_.push_back(Client{descriptor, {}, {}, std::nullopt, false, false});
}

// False when the client is gone or must be dropped.
bool ControlServer::readFrom(Client& client) {
    char buffer[16 * 1024];
    // A bounded share per wake-up, so one busy client cannot starve the others.
    for (int round = 0; round < 64; ++round) {
        const auto count = ::recv(client.descriptor, buffer, sizeof(buffer), 0);
        if (count == 0) {
            return false;
        }
        if (count < 0) {
            return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        }
        // After the last reply the rest of what the client sends is read only to be dropped.
        if (client.closing) {
            continue;
        }
        client.unread.append(buffer, static_cast<std::size_t>(count));
        answerLines(client);
        if (client.dropped || client.unsent.size() > maxUnreadBytes) {
            return false;
        }
    }
    return true;
}

void ControlServer::answerLines(Client& client) {
    std::size_t start = 0;
    for (auto end = client.unread.find('\n'); end != std::string::npos && !client.closing;
         end = client.unread.find('\n', start)) {
        const std::string_view line(client.unread.data() + start, end - start);
        start = end + 1;
        if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
            continue;
        }
        const auto answered = answer(line);
        queueFor(client, answered.reply);
        if (answered.subscription) {
            client.subscription = answered.subscription;
            // Counted before the acknowledgement leaves, so every later event reaches it.
            countSubscribers();
        }
    }
    client.unread.erase(0, start);
    if (!client.closing && client.unread.size() > maxRequestBytes) {
        queueFor(client, controlErrorReply(control_texts::lineTooLong(maxRequestBytes)));
        client.closing = true;
        client.unread.clear();
    }
}

ControlAnswer ControlServer::answer(std::string_view line) {
    const std::lock_guard lock(requestsMutex_);
    if (refusing_) {
        return {controlErrorReply(control_texts::stopping), std::nullopt};
    }
    return answerControlRequest(line, handler_);
}

void ControlServer::countSubscribers() {
    const auto count = std::ranges::count_if(
        clients_, [](const Client& client) { return client.subscription.has_value(); });
    subscribers_.store(static_cast<std::size_t>(count));
}

void ControlServer::fanOut() {
    std::deque<Published> batch;
    {
        const std::lock_guard lock(publishedMutex_);
        batch.swap(published_);
    }
    for (const auto& event : batch) {
        for (auto& client : clients_) {
            const auto& wanted = client.subscription;
            if (wanted && (!wanted->device || wanted->device == event.subject)) {
                queueFor(client, event.line);
            }
        }
    }
}

void ControlServer::queueFor(Client& client, std::string_view line) {
    if (client.unsent.size() > maxUnreadBytes) {
        client.dropped = true;
        return;
    }
    client.unsent.append(line);
    client.unsent.push_back('\n');
}

// Sends what the socket takes now. False when the client must be dropped.
bool ControlServer::writeTo(Client& client) {
    while (!client.unsent.empty()) {
        const auto count = ::send(client.descriptor, client.unsent.data(), client.unsent.size(),
                                  MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK) {
                break;
            }
            return false;
        }
        client.unsent.erase(0, static_cast<std::size_t>(count));
    }
    if (client.unsent.size() > maxUnreadBytes || client.dropped) {
        return false;
    }
    return !(client.closing && client.unsent.empty());
}

} // namespace corvane
