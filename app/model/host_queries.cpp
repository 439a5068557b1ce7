#include "app/model/host_queries.hpp"

#include <variant>

#include "core/host/host_texts.hpp"
#include "core/host/interfaces.hpp"
#include "core/host/preflight.hpp"

namespace corvane {

HostQueries HostQueries::real(const ProcessRunner& runner) {
    HostQueries queries;
    queries.listCards = [runner] { return Interfaces::list(runner); };
    queries.runChecks = [runner](const NetworkCard& card, const ServerConfig& config,
                                 bool showVirtualCards) {
        return Preflight::evaluate(Preflight::gather(card, config, showVirtualCards, runner));
    };
    queries.port67Holder = [runner](const std::string& cardName) {
        const auto state = Preflight::port67State(cardName, runner);
        if (const auto* inUse = std::get_if<Port67InUse>(&state); inUse && inUse->holder) {
            return *inUse->holder;
        }
        return std::string(host_texts::unknownPortHolder);
    };
    queries.lookForOtherServer = [](const std::string& cardName) {
        return OtherServerProbe::probe(cardName);
    };
    queries.runAsAdministrator = [runner](const std::string& service, const SetupCommand& command) {
        HostSetup::runForService(service, command, runner);
    };
    return queries;
}

} // namespace corvane
