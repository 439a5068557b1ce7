#include "core/capture/session_capture.hpp"

#include <chrono>

#include <pcap/pcap.h>
#include <poll.h>

namespace corvane {

struct SessionCapture::Handles {
    pcap_t* card = nullptr;
    pcap_dumper_t* dump = nullptr;

    ~Handles() {
        if (dump != nullptr) {
            pcap_dump_close(dump);
        }
        if (card != nullptr) {
            pcap_close(card);
        }
    }
};

namespace {

// How long the reader sleeps between looks at the stop request when nothing arrives.
constexpr int idleWaitMilliseconds = 200;

std::string captureFailed(const std::string& card, const std::string& reason) {
    return "Could not capture on " + card + ": " + reason +
           ". Check the card's name and that Corvane has cap_net_raw (make install grants it).";
}

void openCard(pcap_t*& handle, const std::string& card) {
    char error[PCAP_ERRBUF_SIZE] = {};
    handle = pcap_create(card.c_str(), error);
    if (handle == nullptr) {
        throw CaptureError(captureFailed(card, error));
    }
    pcap_set_snaplen(handle, 65535);
    pcap_set_promisc(handle, 0);
    pcap_set_immediate_mode(handle, 1);
    if (pcap_activate(handle) < 0) {
        throw CaptureError(captureFailed(card, pcap_geterr(handle)));
    }
    bpf_program program{};
    if (pcap_compile(handle, &program, SessionCapture::filter, 1, PCAP_NETMASK_UNKNOWN) != 0 ||
        pcap_setfilter(handle, &program) != 0) {
        pcap_freecode(&program);
        throw CaptureError(captureFailed(card, pcap_geterr(handle)));
    }
    pcap_freecode(&program);
    if (pcap_setnonblock(handle, 1, error) != 0) {
        throw CaptureError(captureFailed(card, error));
    }
}

} // namespace

SessionCapture::SessionCapture(const std::string& card, const std::filesystem::path& file)
    : file_(file), handles_(std::make_unique<Handles>()) {
    openCard(handles_->card, card);
    handles_->dump = pcap_dump_open(handles_->card, file.c_str());
    if (handles_->dump == nullptr) {
        throw CaptureError("Could not write the capture file " + file.string() + ": " +
                           pcap_geterr(handles_->card) + ". Choose a folder you can write.");
    }
    thread_ = std::thread([this] { run(); });
}

SessionCapture::~SessionCapture() {
    ending_ = true;
    thread_.join();
}

void SessionCapture::run() {
    const int descriptor = pcap_get_selectable_fd(handles_->card);
    while (!ending_) {
        pollfd watched{descriptor, POLLIN, 0};
        if (::poll(&watched, 1, idleWaitMilliseconds) > 0) {
            takeQueued();
        }
    }
    takeQueued();
}

void SessionCapture::takeQueued() {
    const auto record = [](u_char* self, const pcap_pkthdr* header, const u_char* bytes) {
        auto* capture = reinterpret_cast<SessionCapture*>(self);
        pcap_dump(reinterpret_cast<u_char*>(capture->handles_->dump), header, bytes);
        ++capture->written_;
    };
    if (pcap_dispatch(handles_->card, -1, record, reinterpret_cast<u_char*>(this)) > 0) {
        pcap_dump_flush(handles_->dump);
    }
}

} // namespace corvane
