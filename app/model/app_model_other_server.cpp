#include <algorithm>

#include "app/model/app_model.hpp"
#include "core/host/preflight.hpp"

namespace corvane {
namespace {

// The probe listens for two seconds; anything beyond this is a hung host query.
constexpr std::chrono::seconds otherServerTimeLimit{6};

} // namespace

void AppModel::lookForOtherServer(const NetworkCard& card) {
    if (!environment_.host.lookForOtherServer || !card.linkUp ||
        (otherServer_ && otherServer_->cardID == card.id() && otherServer_->config == config_)) {
        return;
    }
    // The last answer on this card stays shown until the new one comes.
    auto previous =
        otherServer_ && otherServer_->cardID == card.id() ? otherServer_->result : std::nullopt;
    otherServer_ = OtherServerLook{card.id(), config_, std::move(previous)};
    runWithTimeLimit<std::optional<OtherServerResult>>(
        lifeline_, otherServerTimeLimit, std::nullopt,
        [look = environment_.host.lookForOtherServer, name = card.bsdName] {
            return std::optional<OtherServerResult>(look(name));
        },
        [this, cardID = card.id(), config = config_](std::optional<OtherServerResult> result) {
            if (!otherServer_ || otherServer_->cardID != cardID ||
                !(otherServer_->config == config)) {
                return;
            }
            otherServer_->result = std::move(result);
            takeChecks(withOtherServer(checks_));
        });
}

std::vector<PreflightCheck> AppModel::withOtherServer(std::vector<PreflightCheck> checks) const {
    std::erase_if(checks, [](const PreflightCheck& check) {
        return check.id == PreflightCheck::ID::otherServer;
    });
    const auto* card = selectedCard();
    if (card != nullptr && otherServer_ && otherServer_->result &&
        otherServer_->cardID == card->id() && !checks.empty()) {
        checks.push_back(Preflight::otherServerCheck(*otherServer_->result, *card));
    }
    return checks;
}

} // namespace corvane
