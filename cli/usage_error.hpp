#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace corvane::cli {

// The command line asked for something that cannot be done as given: a flag value that
// does not read, a configuration that breaks a rule, a card that does not exist. Each
// problem is one sentence; the program prints them all and exits with status 2.
class UsageError : public std::runtime_error {
public:
    explicit UsageError(std::vector<std::string> problems)
        : std::runtime_error(problems.empty() ? "" : problems.front()),
          problems_(std::move(problems)) {}

    const std::vector<std::string>& problems() const { return problems_; }

private:
    std::vector<std::string> problems_;
};

} // namespace corvane::cli
