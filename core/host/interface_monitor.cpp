#include "core/host/interface_monitor.hpp"

#include <array>
#include <cerrno>
#include <string>
#include <utility>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr int maximumMessagesPerBurst = 256;

} // namespace

InterfaceMonitor::InterfaceMonitor(std::function<void()> onChange)
    : onChange_(std::move(onChange)) {}

InterfaceMonitor::~InterfaceMonitor() {
    stop();
}

bool InterfaceMonitor::start() {
    const std::lock_guard lock(mutex_);
    if (worker_.joinable()) {
        return true;
    }
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    if (netlink < 0) {
        return false;
    }
    sockaddr_nl groups{};
    groups.nl_family = AF_NETLINK;
    groups.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE;
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0 || bind(netlink, reinterpret_cast<const sockaddr*>(&groups), sizeof groups) != 0) {
        close(netlink);
        if (wake >= 0) {
            close(wake);
        }
        return false;
    }
    netlink_ = netlink;
    wake_ = wake;
    worker_ = std::thread([this, netlink, wake] { watch(netlink, wake); });
    return true;
}

void InterfaceMonitor::stop() {
    std::thread worker;
    int netlink = -1;
    int wake = -1;
    {
        // Joined outside the lock, so an `onChange` that asks isRunning() cannot deadlock.
        const std::lock_guard lock(mutex_);
        if (!worker_.joinable()) {
            return;
        }
        worker = std::move(worker_);
        std::swap(netlink, netlink_);
        std::swap(wake, wake_);
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wake, &one, sizeof one);
    worker.join();
    close(netlink);
    close(wake);
}

bool InterfaceMonitor::isRunning() const {
    const std::lock_guard lock(mutex_);
    return worker_.joinable();
}

void InterfaceMonitor::watch(int netlink, int wake) {
    // Thread names hold at most 15 characters.
    pthread_setname_np(pthread_self(), std::string(queueLabel).substr(0, 15).c_str());
    std::array<char, 16384> buffer{};
    while (true) {
        std::array<pollfd, 2> watched{pollfd{netlink, POLLIN, 0}, pollfd{wake, POLLIN, 0}};
        // The wake descriptor ends this wait: stop() always writes to it before joining.
        if (poll(watched.data(), watched.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        if (watched[1].revents != 0) {
            return;
        }
        // Everything queued now is one burst and earns one call; the bound keeps a stream
        // of changes that never pauses from starving the receiver.
        bool changed = false;
        for (int drained = 0; drained < maximumMessagesPerBurst; ++drained) {
            const auto received = recv(netlink, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (received > 0 || (received < 0 && errno == ENOBUFS)) {
                // ENOBUFS: the kernel dropped messages because we fell behind; something
                // changed all the same.
                changed = true;
                continue;
            }
            if (received < 0 && errno == EINTR) {
                continue;
            }
            break;
        }
        if (changed && onChange_) {
            try {
                onChange_();
            } catch (...) {
                // The receiver's failure must not end the watch.
            }
        }
    }
}

} // namespace corvane
