#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace corvane::testing {

// A throw-away network for one test: private network namespaces joined by veth pairs,
// all removed again by the destructor, together with every process the lab started.
// Nothing here ever touches an interface of the host's own namespace.
class NetworkLab {
public:
    // Why namespace tests cannot run here (not root, no iproute2, no namespaces), or no
    // value when they can. Tests skip with this text.
    static std::optional<std::string> unavailableReason();

    NetworkLab();
    ~NetworkLab();
    NetworkLab(const NetworkLab&) = delete;
    NetworkLab& operator=(const NetworkLab&) = delete;

    // Creates a namespace with its loopback up; returns its full, process-unique name.
    std::string addNamespace(const std::string& shortName);
    // A veth pair, one end in each namespace, both ends up.
    void addVethPair(const std::string& firstNamespace, const std::string& firstName,
                     const std::string& secondNamespace, const std::string& secondName);
    // Runs a shell command inside a namespace; throws std::runtime_error when it fails.
    void run(const std::string& namespaceName, const std::string& command);
    // The command's standard output; throws when it fails.
    std::string output(const std::string& namespaceName, const std::string& command);
    // Starts a long-running program inside a namespace (no shell); the lab ends it by PID.
    pid_t spawn(const std::string& namespaceName, const std::vector<std::string>& arguments);
    // Ends one process the lab started and waits for it.
    void stop(pid_t process);

    // Moves the calling thread into a namespace for the lifetime of the returned object.
    class Entered {
    public:
        explicit Entered(const std::string& namespaceName);
        ~Entered();
        Entered(const Entered&) = delete;
        Entered& operator=(const Entered&) = delete;

    private:
        int home_ = -1;
    };

private:
    std::string prefix_;
    std::vector<std::string> namespaces_;
    std::vector<pid_t> processes_;
};

} // namespace corvane::testing
