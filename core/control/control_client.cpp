#include "core/control/control_client.hpp"

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "core/control/control_error.hpp"
#include "core/control/control_texts.hpp"

namespace corvane {
namespace {

std::string reached(const std::filesystem::path& socket) {
    return control_texts::socketFailed("reach", socket.string(), std::strerror(errno));
}

} // namespace

ControlClient::ControlClient(const std::filesystem::path& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket.string().size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        throw ControlError(reached(socket));
    }
    std::memcpy(address.sun_path, socket.c_str(), socket.string().size() + 1);
    descriptor_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor_ < 0 ||
        ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        const auto text = reached(socket);
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        throw ControlError(text);
    }
}

ControlClient::~ControlClient() {
    ::close(descriptor_);
}

// Not const: what the socket carries is this client's state, even if no member changes.
// NOLINTNEXTLINE(readability-make-member-function-const)
void ControlClient::send(const nlohmann::json& request) {
    const auto line = request.dump() + "\n";
    std::size_t done = 0;
    while (done < line.size()) {
        const auto count =
            ::send(descriptor_, line.data() + done, line.size() - done, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            throw ControlError(control_texts::sendFailed(std::strerror(errno)));
        }
        done += static_cast<std::size_t>(count);
    }
}

ControlClient::Reading ControlClient::readLine(std::optional<std::chrono::milliseconds> timeout) {
    const auto deadline =
        std::chrono::steady_clock::now() + timeout.value_or(std::chrono::hours(0));
    while (true) {
        if (const auto end = buffered_.find('\n'); end != std::string::npos) {
            Line line{buffered_.substr(0, end)};
            buffered_.erase(0, end + 1);
            return line;
        }
        int wait = -1;
        if (timeout) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                return TimedOut{};
            }
            wait = static_cast<int>(left.count());
        }
        pollfd watched{descriptor_, POLLIN, 0};
        const int ready = ::poll(&watched, 1, wait);
        if (ready < 0 && errno != EINTR) {
            return Closed{};
        }
        if (ready <= 0) {
            continue;
        }
        char buffer[16 * 1024];
        const auto count = ::recv(descriptor_, buffer, sizeof(buffer), 0);
        if (count <= 0) {
            if (count < 0 && errno == EINTR) {
                continue;
            }
            return Closed{};
        }
        buffered_.append(buffer, static_cast<std::size_t>(count));
    }
}

nlohmann::json ControlClient::ask(const nlohmann::json& request) {
    send(request);
    while (true) {
        const auto reading = readLine();
        const auto* line = std::get_if<Line>(&reading);
        if (line == nullptr) {
            throw ControlError(std::string(control_texts::serverWentAway));
        }
        auto reply = nlohmann::json::parse(line->text, nullptr, false);
        if (reply.is_object() && reply.contains("ok")) {
            return reply;
        }
    }
}

} // namespace corvane
