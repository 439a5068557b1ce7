#include "core/control/control_requests.hpp"

#include <nlohmann/json.hpp>

#include "core/control/control_texts.hpp"

namespace corvane {
namespace {

using nlohmann::json;

json failure(std::string_view text) {
    return {{"ok", false}, {"error", std::string(text)}};
}

json success(std::string_view request) {
    return {{"ok", true}, {"request", request}};
}

// The "mac" member as a device, or the reason it is not one.
std::optional<MACAddress> deviceIn(const json& request, json& problem) {
    const auto member = request.find("mac");
    if (member == request.end() || !member->is_string()) {
        problem = failure(control_texts::missingMAC);
        return std::nullopt;
    }
    const auto mac = MACAddress::parse(member->get<std::string>());
    if (!mac) {
        problem = failure(control_texts::badMAC(member->get<std::string>()));
    }
    return mac;
}

json leases(const ControlHandler& handler) {
    auto reply = success("leases");
    reply["leases"] = json::array();
    const auto table = handler.table();
    for (const auto& lease : table.leases()) {
        reply["leases"].push_back(lease);
    }
    return reply;
}

json forget(const json& request, const ControlHandler& handler) {
    json problem;
    const auto mac = deviceIn(request, problem);
    if (!mac) {
        return problem;
    }
    const auto removed = handler.forget(*mac);
    if (!removed) {
        return failure(control_texts::noLeaseFor(mac->description()));
    }
    auto reply = success("forget");
    reply["lease"] = *removed;
    return reply;
}

ControlAnswer subscribe(const json& request) {
    Subscription subscription;
    if (request.contains("mac")) {
        json problem;
        subscription.device = deviceIn(request, problem);
        if (!subscription.device) {
            problem["request"] = "subscribe";
            return {problem.dump(), std::nullopt};
        }
    }
    return {success("subscribe").dump(), subscription};
}

json answerNamed(const std::string& name, const json& request, const ControlHandler& handler) {
    if (name == "leases") {
        return leases(handler);
    }
    if (name == "forget") {
        return forget(request, handler);
    }
    if (name == "clear-inactive") {
        auto reply = success("clear-inactive");
        reply["cleared"] = handler.clearInactive();
        return reply;
    }
    return failure(control_texts::unknownRequest(name));
}

} // namespace

ControlAnswer answerControlRequest(std::string_view line, const ControlHandler& handler) {
    const auto request = json::parse(line, nullptr, false);
    if (request.is_discarded() || !request.is_object()) {
        return {failure(control_texts::notJSON).dump(), std::nullopt};
    }
    const auto name = request.find("request");
    if (name == request.end() || !name->is_string()) {
        return {failure(control_texts::noRequestName).dump(), std::nullopt};
    }
    const auto text = name->get<std::string>();
    if (text == "subscribe") {
        return subscribe(request);
    }
    auto reply = answerNamed(text, request, handler);
    reply["request"] = text;
    return {reply.dump(), std::nullopt};
}

std::string controlErrorReply(std::string_view text) {
    return failure(text).dump();
}

} // namespace corvane
