#include "core/leases/lease_document.hpp"

#include <algorithm>
#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/leases/iso8601.hpp"

namespace corvane {

namespace {

// Device texts that need no escaping are copied as they are; anything else (quotes,
// control characters, non-ASCII, invalid UTF-8) goes through the JSON library's own
// escaping, so the two paths can never disagree. Invalid UTF-8 becomes U+FFFD: losing a
// byte of a host name costs less than losing the save.
void appendString(std::string& out, std::string_view text) {
    const bool plain = std::ranges::all_of(text, [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\';
    });
    if (plain) {
        out += '"';
        out += text;
        out += '"';
        return;
    }
    out += nlohmann::json(std::string(text))
               .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// Writes an object's members one after another, with the commas and indentation between;
// without an indentation everything goes on one line with no spaces, as a compact dump has it.
class ObjectWriter {
public:
    ObjectWriter(std::string& out, std::optional<std::string_view> indent)
        : out_(out), indent_(indent) {
        out_ += indent_ ? "{\n" : "{";
    }

    void member(std::string_view key, std::string_view text) {
        startMember(key);
        appendString(out_, text);
    }
    void optionalMember(std::string_view key, const std::optional<std::string>& text) {
        if (text) {
            member(key, *text);
        }
    }
    void finish() {
        if (indent_) {
            out_ += '\n';
            out_ += *indent_;
        }
        out_ += '}';
    }

private:
    void startMember(std::string_view key) {
        if (!first_) {
            out_ += indent_ ? ",\n" : ",";
        }
        first_ = false;
        if (indent_) {
            out_ += *indent_;
            out_ += "  ";
        }
        out_ += '"';
        out_ += key;
        out_ += indent_ ? "\": " : "\":";
    }

    std::string& out_;
    std::optional<std::string_view> indent_;
    bool first_ = true;
};

constexpr std::string_view elementIndent = "    ";

// Members in sorted key order, as a JSON object with sorted keys prints them.
void appendLease(std::string& out, const Lease& lease,
                 std::optional<std::string_view> indent = elementIndent) {
    ObjectWriter object(out, indent);
    object.optionalMember("clientID", lease.clientID);
    object.member("expiresAt", formatISO8601(lease.expiresAt));
    object.member("firstSeen", formatISO8601(lease.firstSeen));
    object.optionalMember("hostname", lease.hostname);
    object.member("ip", lease.ip.description());
    object.member("lastSeen", formatISO8601(lease.lastSeen));
    object.member("mac", lease.mac.description());
    object.member("state", leaseStateName(lease.state));
    object.optionalMember("vendorClass", lease.vendorClass);
    object.finish();
}

void appendQuarantine(std::string& out, const Quarantine& entry) {
    ObjectWriter object(out, elementIndent);
    object.member("ip", entry.ip.description());
    object.member("reportedBy", entry.reportedBy.description());
    object.member("until", formatISO8601(entry.until));
    object.finish();
}

template <typename Element, typename Append>
void appendArray(std::string& out, std::string_view key, const std::vector<Element>& elements,
                 Append append) {
    out += "  \"";
    out += key;
    out += "\": ";
    if (elements.empty()) {
        out += "[]";
        return;
    }
    out += "[\n";
    for (std::size_t index = 0; index < elements.size(); ++index) {
        if (index > 0) {
            out += ",\n";
        }
        out += elementIndent;
        append(out, elements[index]);
    }
    out += "\n  ]";
}

} // namespace

std::string encodeLeaseDocument(const LeaseTable& table, int version) {
    std::string out;
    // About 330 bytes for a typical record; one allocation in the common case.
    out.reserve(64 + 340 * table.leases().size() + 130 * table.quarantine().size());
    out += "{\n";
    appendArray(out, "leases", table.leases(),
                [](std::string& text, const Lease& lease) { appendLease(text, lease); });
    out += ",\n";
    appendArray(out, "quarantine", table.quarantine(), appendQuarantine);
    out += ",\n  \"version\": ";
    out += std::to_string(version);
    out += "\n}\n";
    return out;
}

void appendLeaseLine(std::string& out, const Lease& lease) {
    appendLease(out, lease, std::nullopt);
}

} // namespace corvane
