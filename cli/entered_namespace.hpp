#pragma once

#include <string>

namespace corvane::cli {

// Moves the calling thread into a network namespace made by `ip netns`, and back again when
// it goes out of scope. Threads the caller starts meanwhile are born in the namespace and
// stay there. Throws std::system_error when the namespace cannot be entered.
class EnteredNamespace {
public:
    explicit EnteredNamespace(const std::string& name);
    ~EnteredNamespace();
    EnteredNamespace(const EnteredNamespace&) = delete;
    EnteredNamespace& operator=(const EnteredNamespace&) = delete;

private:
    int home_ = -1;
};

} // namespace corvane::cli
