#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace corvane {

// A capture that could not be started; the text is a complete sentence.
class CaptureError : public std::runtime_error {
public:
    explicit CaptureError(const std::string& text) : std::runtime_error(text) {}
};

// Records every DHCP datagram a card carries, received and sent, with the kernel's time
// stamps, into a pcap file that tcpdump and Wireshark open. It reads on its own thread and
// flushes each packet, so the file is complete up to the last packet even if the process
// is killed.
class SessionCapture {
public:
    // Opens the card (cap_net_raw is enough) and the file. Throws CaptureError.
    SessionCapture(const std::string& card, const std::filesystem::path& file);
    // Takes the packets still queued, then closes the file.
    ~SessionCapture();
    SessionCapture(const SessionCapture&) = delete;
    SessionCapture& operator=(const SessionCapture&) = delete;

    std::size_t packetsWritten() const { return written_.load(); }
    const std::filesystem::path& file() const { return file_; }

    // Only DHCP: the server's and the clients' ports.
    static constexpr const char* filter = "udp port 67 or udp port 68";

private:
    void run();
    void takeQueued();

    std::filesystem::path file_;
    struct Handles;
    std::unique_ptr<Handles> handles_;
    std::atomic<bool> ending_{false};
    std::atomic<std::size_t> written_{0};
    std::thread thread_;
};

} // namespace corvane
