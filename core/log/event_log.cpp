#include "core/log/event_log.hpp"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "core/address/address_json.hpp"
#include "core/config/duration_text.hpp"
#include "core/leases/iso8601.hpp"
#include "core/log/zoned_clock.hpp"
#include "core/maker/maker_registry.hpp"

namespace corvane::EventLog {
namespace {

struct LogParts {
    std::string label;
    std::string text;
};

std::string typeName(std::optional<DHCPMessageType> type) {
    return type ? std::string(description(*type)) : "?";
}

std::string hex32(std::uint32_t value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%08x", static_cast<unsigned>(value));
    return buffer;
}

std::string upperCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char character) { return std::toupper(character); });
    return result;
}

// The label and text of each case, in the order the cases are declared.
struct PartsOf {
    std::optional<LogParts> operator()(const ServerEvent::Started& started) const {
        const auto& config = started.config;
        return LogParts{"START", started.interface + " server " + config.serverIP.description() +
                                     "/" + std::to_string(config.prefixLength) + " range " +
                                     config.rangeStart.description() + "-" +
                                     config.rangeEnd.description() + " lease " +
                                     formatDuration(config.leaseSeconds)};
    }
    std::optional<LogParts> operator()(const ServerEvent::Received& received) const {
        return LogParts{"RX " + typeName(received.packet.type), describe(received.packet)};
    }
    std::optional<LogParts> operator()(const ServerEvent::Sent& sent) const {
        const auto& reply = sent.reply;
        std::string text = reply.ip.description() + " -> " + reply.destination.description() +
                           " via " + reply.interface;
        if (reply.note) {
            text += " (" + *reply.note + ")";
        }
        return LogParts{"TX " + typeName(reply.type), text};
    }
    std::optional<LogParts> operator()(const ServerEvent::Dropped& dropped) const {
        return LogParts{"DROP", dropped.mac ? dropped.reason + " " + dropped.mac->description()
                                            : dropped.reason};
    }
    std::optional<LogParts> operator()(const ServerEvent::LeaseChanged& changed) const {
        const auto& lease = changed.lease;
        std::string text = std::string(leaseStateName(lease.state)) + " " + lease.ip.description() +
                           " " + lease.mac.description();
        if (lease.hostname) {
            text += " host=" + *lease.hostname;
        }
        return LogParts{"LEASE", text};
    }
    std::optional<LogParts> operator()(const ServerEvent::LeaseRemoved& removed) const {
        return LogParts{"LEASE", "removed " + removed.mac.description()};
    }
    std::optional<LogParts> operator()(const ServerEvent::Presence& presence) const {
        return LogParts{upperCase(presenceStateName(presence.state)),
                        presence.ip.description() + " " + presence.mac.description() + " " +
                            presence.detail};
    }
    std::optional<LogParts> operator()(const ServerEvent::Link& link) const {
        if (!link.up) {
            return LogParts{"LINK", "down"};
        }
        return LogParts{"LINK", link.media ? "up " + *link.media : "up"};
    }
    std::optional<LogParts> operator()(const ServerEvent::NoticeRaised& raised) const {
        return LogParts{"NOTICE", raised.notice.message};
    }
    std::optional<LogParts> operator()(const ServerEvent::NoticeCleared&) const {
        return std::nullopt;
    }
    std::optional<LogParts> operator()(const ServerEvent::Info& info) const {
        return LogParts{"INFO", info.text};
    }
    std::optional<LogParts> operator()(const ServerEvent::Stopped&) const {
        return LogParts{"STOP", "server stopped"};
    }
};

std::optional<LogParts> partsOf(const ServerEvent& event) {
    return std::visit(PartsOf{}, event.value());
}

// The keys each case adds to the JSON object beyond time, event, label and text.
struct ExtraKeys {
    nlohmann::json& object;

    void addMAC(const MACAddress& mac) const {
        object["mac"] = mac.description();
        if (auto maker = makerName(mac)) {
            object["maker"] = std::move(*maker);
        }
    }

    void operator()(const ServerEvent::Received& received) const {
        const auto& packet = received.packet;
        if (packet.type) {
            object["type"] = typeName(packet.type);
        }
        if (packet.mac) {
            addMAC(*packet.mac);
        }
        if (packet.hostname) {
            object["hostname"] = *packet.hostname;
        }
        if (packet.vendorClass) {
            object["vendorClass"] = *packet.vendorClass;
        }
        if (packet.requestedIP) {
            object["requestedIP"] = packet.requestedIP->description();
        }
        if (packet.serverID) {
            object["serverID"] = packet.serverID->description();
        }
        object["xid"] = hex32(packet.xid);
    }
    void operator()(const ServerEvent::Sent& sent) const {
        const auto& reply = sent.reply;
        object["type"] = typeName(reply.type);
        object["ip"] = reply.ip.description();
        addMAC(reply.mac);
        object["destination"] = reply.destination.description();
        object["interface"] = reply.interface;
        if (reply.note) {
            object["note"] = *reply.note;
        }
    }
    void operator()(const ServerEvent::LeaseChanged& changed) const {
        object["ip"] = changed.lease.ip.description();
        addMAC(changed.lease.mac);
        object["state"] = std::string(leaseStateName(changed.lease.state));
    }
    void operator()(const ServerEvent::Presence& presence) const {
        object["ip"] = presence.ip.description();
        addMAC(presence.mac);
        object["state"] = std::string(presenceStateName(presence.state));
    }
    template <typename OtherCase> void operator()(const OtherCase&) const {}
};

struct KindOf {
    std::string operator()(const ServerEvent::Started&) const { return "started"; }
    std::string operator()(const ServerEvent::Received&) const { return "received"; }
    std::string operator()(const ServerEvent::Sent&) const { return "sent"; }
    std::string operator()(const ServerEvent::Dropped&) const { return "dropped"; }
    std::string operator()(const ServerEvent::LeaseChanged&) const { return "leaseChanged"; }
    std::string operator()(const ServerEvent::LeaseRemoved&) const { return "leaseRemoved"; }
    std::string operator()(const ServerEvent::Presence&) const { return "presence"; }
    std::string operator()(const ServerEvent::Link&) const { return "link"; }
    // Deliberately shorter than the case name.
    std::string operator()(const ServerEvent::NoticeRaised&) const { return "notice"; }
    std::string operator()(const ServerEvent::NoticeCleared&) const { return "noticeCleared"; }
    std::string operator()(const ServerEvent::Info&) const { return "info"; }
    std::string operator()(const ServerEvent::Stopped&) const { return "stopped"; }
};

} // namespace

std::optional<std::string> line(const ServerEvent& event, TimePoint at,
                                const date::time_zone* zone) {
    const auto parts = partsOf(event);
    if (!parts) {
        return std::nullopt;
    }
    return line(parts->label, parts->text, at, zone);
}

std::string line(std::string_view label, std::string_view text, TimePoint at,
                 const date::time_zone* zone) {
    std::string result = timestamp(at, zone);
    result += "  ";
    result += label;
    if (label.size() < labelWidth) {
        result.append(labelWidth - label.size(), ' ');
    }
    result += ' ';
    result += text;
    return result;
}

std::optional<std::string> json(const ServerEvent& event, TimePoint at) {
    const auto parts = partsOf(event);
    if (!parts) {
        return std::nullopt;
    }
    // nlohmann's default object is an ordered map, so keys come out sorted.
    nlohmann::json object = {
        {"time", formatISO8601(at)},
        {"event", kind(event)},
        {"label", parts->label},
        {"text", parts->text},
    };
    std::visit(ExtraKeys{object}, event.value());
    try {
        return object.dump();
    } catch (const nlohmann::json::exception&) {
        // Text that is not valid UTF-8 cannot be written as JSON.
        return std::nullopt;
    }
}

std::string kind(const ServerEvent& event) {
    return std::visit(KindOf{}, event.value());
}

std::string timestamp(TimePoint at, const date::time_zone* zone) {
    const auto clock = ZonedClock::of(at, zone);
    // The milliseconds come from the instant itself, floored against the floored second, so
    // 0.9999 s into a second is 999, never a rounded-up 1000, and an instant before 1970 has
    // no negative remainder.
    const auto milliseconds = (std::chrono::floor<std::chrono::milliseconds>(at) -
                               std::chrono::floor<std::chrono::seconds>(at))
                                  .count();
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d.%03d", clock.hour, clock.minute,
                  clock.second, static_cast<int>(milliseconds));
    return buffer;
}

std::string describe(const PacketSummary& packet) {
    std::string text = packet.mac ? packet.mac->description() : "-";
    text += " host=" + packet.hostname.value_or("-");
    text += " vendor=" + packet.vendorClass.value_or("-");
    text += " req=" + (packet.requestedIP ? packet.requestedIP->description() : "-");
    if (packet.serverID) {
        text += " sid=" + packet.serverID->description();
    }
    if (packet.ciaddr != IPv4Address::zero) {
        text += " ciaddr=" + packet.ciaddr.description();
    }
    if (packet.clientID) {
        text += " cid=" + *packet.clientID;
    }
    text += " xid=" + hex32(packet.xid);
    if (packet.interface) {
        text += " if=" + *packet.interface;
    }
    return text;
}

} // namespace corvane::EventLog
