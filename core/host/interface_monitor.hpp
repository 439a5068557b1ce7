#pragma once

#include <functional>
#include <mutex>
#include <string_view>
#include <thread>

namespace corvane {

// Watches the kernel's links, IPv4 addresses and routes and calls `onChange` once for each
// burst of changes, on its own worker thread ("corvane.interfaces"): the receiver hops to
// its own thread before touching shared state. The subscription is made in the network
// namespace of the thread that calls `start`.
class InterfaceMonitor {
public:
    static constexpr std::string_view queueLabel = "corvane.interfaces";

    // Does not subscribe yet.
    explicit InterfaceMonitor(std::function<void()> onChange);
    ~InterfaceMonitor();
    InterfaceMonitor(const InterfaceMonitor&) = delete;
    InterfaceMonitor& operator=(const InterfaceMonitor&) = delete;

    // Subscribes and starts the worker. False, and the monitor stays silent, when the
    // kernel refuses the subscription. Starting a running monitor does nothing.
    bool start();
    // Ends the subscription and waits for the worker; no `onChange` call begins after it
    // returns. Must not be called from `onChange` itself. Stopping twice is harmless.
    void stop();
    bool isRunning() const;

private:
    void watch(int netlink, int wake);

    std::function<void()> onChange_;
    mutable std::mutex mutex_;
    std::thread worker_;
    int netlink_ = -1;
    int wake_ = -1;
};

} // namespace corvane
