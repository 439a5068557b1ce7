#include "core/host/setup_command.hpp"

namespace corvane {
namespace {

std::string joined(const std::vector<std::string>& steps, const std::string& prefix) {
    std::string line;
    for (const auto& step : steps) {
        if (!line.empty()) {
            line += " && ";
        }
        line += prefix + step;
    }
    return line;
}

} // namespace

std::string SetupCommand::line() const {
    return joined(steps, "");
}

std::string SetupCommand::sudoLine() const {
    return joined(steps, "sudo ");
}

} // namespace corvane
