#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include "cli/demo_lab_error.hpp"
#include "core/address/mac_address.hpp"
#include "core/address/subnet.hpp"
#include "core/host/process_runner.hpp"

namespace corvane::cli {

// The demo's private network: two network namespaces joined by a veth pair (the virtual
// cable), a temporary folder for the lease file, the logs and the device's script, and the
// device itself, busybox udhcpc, running in the second namespace. Every link is created
// inside the namespaces, never in the host's own one. The destructor removes all of it:
// the device by its PID, the namespaces (which takes the cable with them) and the folder.
class DemoLab {
public:
    static constexpr const char* serverCard = "demo-server";
    static constexpr const char* deviceCard = "demo-device";

    // Throws DemoLabError naming the step that failed; what was made is removed again.
    DemoLab(const ProcessRunner& runner, const Subnet& serverAddress, const MACAddress& deviceMAC);
    ~DemoLab();
    DemoLab(const DemoLab&) = delete;
    DemoLab& operator=(const DemoLab&) = delete;

    const std::string& serverNamespace() const { return namespaces_.front(); }
    const std::filesystem::path& folder() const { return folder_; }

    // Starts udhcpc in the device's namespace; it keeps its lease and renews it until the
    // lab ends.
    void startDevice();

private:
    void ip(const std::vector<std::string>& arguments, const std::string& step);
    void addNamespace(const std::string& name);
    void writeDeviceScript() const;
    void removeEverything();

    ProcessRunner runner_;
    std::filesystem::path folder_;
    std::vector<std::string> namespaces_;
    pid_t device_ = -1;
};

} // namespace corvane::cli
