#pragma once

#include <string>
#include <vector>

namespace corvane {

// A host command made of shell steps that run one after another and stop at the first
// failure. Every value in a step is already shell-quoted.
struct SetupCommand {
    std::vector<std::string> steps;

    // The steps joined with " && ", as one shell line.
    std::string line() const;
    // The line a user can paste into a terminal: every step behind its own "sudo", since
    // a single leading sudo would cover only the first step.
    std::string sudoLine() const;

    friend bool operator==(const SetupCommand&, const SetupCommand&) = default;
};

} // namespace corvane
