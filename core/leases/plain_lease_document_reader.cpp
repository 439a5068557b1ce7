#include "core/leases/plain_lease_document_reader.hpp"

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/leases/iso8601.hpp"
#include "core/leases/lease_document_scanner.hpp"

namespace corvane {

namespace {

// Each record's keys; a bit per key catches repeats and missing required keys.
constexpr std::array<std::string_view, 9> leaseKeys = {"mac",       "ip",          "state",
                                                       "expiresAt", "firstSeen",   "lastSeen",
                                                       "hostname",  "vendorClass", "clientID"};
constexpr unsigned requiredLeaseKeys = 0b111111;
constexpr std::array<std::string_view, 3> quarantineKeys = {"ip", "until", "reportedBy"};
constexpr unsigned requiredQuarantineKeys = 0b111;

// The key's bit, or none when the key is unknown or already seen (and then marks it seen).
template <std::size_t Count>
std::optional<std::size_t> claimKey(const std::array<std::string_view, Count>& keys,
                                    std::string_view key, unsigned& seen) {
    const auto found = std::ranges::find(keys, key);
    if (found == keys.end()) {
        return std::nullopt;
    }
    const auto index = static_cast<std::size_t>(found - keys.begin());
    const unsigned bit = 1U << index;
    if ((seen & bit) != 0) {
        return std::nullopt;
    }
    seen |= bit;
    return index;
}

template <typename Value, typename Parse>
bool readText(LeaseDocumentScanner& scanner, Value& value, Parse parse) {
    const auto text = scanner.plainString();
    if (!text) {
        return false;
    }
    const auto parsed = parse(*text);
    if (!parsed) {
        return false;
    }
    value = *parsed;
    return true;
}

bool readOptionalText(LeaseDocumentScanner& scanner, std::optional<std::string>& value) {
    if (scanner.null()) {
        value.reset();
        return true;
    }
    const auto text = scanner.plainString();
    if (text) {
        value.emplace(*text);
    }
    return text.has_value();
}

bool readLeaseMember(LeaseDocumentScanner& scanner, std::size_t key, Lease& lease) {
    switch (key) {
    case 0:
        return readText(scanner, lease.mac, MACAddress::parse);
    case 1:
        return readText(scanner, lease.ip, IPv4Address::parse);
    case 2:
        return readText(scanner, lease.state, leaseStateNamed);
    case 3:
        return readText(scanner, lease.expiresAt, parseISO8601);
    case 4:
        return readText(scanner, lease.firstSeen, parseISO8601);
    case 5:
        return readText(scanner, lease.lastSeen, parseISO8601);
    case 6:
        return readOptionalText(scanner, lease.hostname);
    case 7:
        return readOptionalText(scanner, lease.vendorClass);
    default:
        return readOptionalText(scanner, lease.clientID);
    }
}

bool readQuarantineMember(LeaseDocumentScanner& scanner, std::size_t key, Quarantine& entry) {
    switch (key) {
    case 0:
        return readText(scanner, entry.ip, IPv4Address::parse);
    case 1:
        return readText(scanner, entry.until, parseISO8601);
    default:
        return readText(scanner, entry.reportedBy, MACAddress::parse);
    }
}

// Reads one list of records, each an object of `keys` that `readMember` fills in.
template <typename Record, std::size_t Count, typename ReadMember>
bool readRecords(LeaseDocumentScanner& scanner, const std::array<std::string_view, Count>& keys,
                 unsigned required, ReadMember readMember, std::vector<Record>& records) {
    return scanArray(scanner, [&] {
        Record record{};
        unsigned seen = 0;
        const bool read = scanObject(scanner, [&](std::string_view key) {
            const auto index = claimKey(keys, key, seen);
            return index && readMember(scanner, *index, record);
        });
        if (!read || (seen & required) != required) {
            return false;
        }
        records.push_back(std::move(record));
        return true;
    });
}

} // namespace

std::optional<LeaseTable> decodePlainLeaseDocument(std::string_view content, int version) {
    LeaseDocumentScanner scanner(content);
    std::vector<Lease> leases;
    // A record of our own writer's takes a little over 300 bytes.
    leases.reserve(content.size() / 300);
    std::vector<Quarantine> quarantine;
    constexpr std::array<std::string_view, 3> documentKeys = {"leases", "quarantine", "version"};
    unsigned seen = 0;
    const bool read = scanObject(scanner, [&](std::string_view key) {
        switch (claimKey(documentKeys, key, seen).value_or(documentKeys.size())) {
        case 0:
            return readRecords(scanner, leaseKeys, requiredLeaseKeys, readLeaseMember, leases);
        case 1:
            return readRecords(scanner, quarantineKeys, requiredQuarantineKeys,
                               readQuarantineMember, quarantine);
        case 2:
            return scanner.smallInteger() == std::optional<std::int64_t>(version);
        default:
            return false;
        }
    });
    if (!read || seen != 0b111 || !scanner.atEnd()) {
        return std::nullopt;
    }
    return LeaseTable(std::move(leases), std::move(quarantine));
}

} // namespace corvane
