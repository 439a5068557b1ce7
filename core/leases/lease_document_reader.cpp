#include "core/leases/lease_document_reader.hpp"

#include <array>
#include <cstdint>

#include <nlohmann/json.hpp>

#include "core/address/address_json.hpp"
#include "core/leases/plain_lease_document_reader.hpp"

namespace corvane {

namespace {

using nlohmann::json;

constexpr std::array leaseKeys = {"mac", "ip", "state", "expiresAt", "firstSeen", "lastSeen"};
constexpr std::array quarantineKeys = {"ip", "until", "reportedBy"};

// Why `record` cannot be read, in words a person editing the file can act on; no value when
// it reads.
template <typename Record, std::size_t KeyCount>
std::optional<std::string> problemWith(const json& record,
                                       const std::array<const char*, KeyCount>& required,
                                       Record& decoded) {
    if (!record.is_object()) {
        return "not a JSON object";
    }
    for (const char* key : required) {
        if (!record.contains(key)) {
            return std::string("no \"") + key + "\"";
        }
    }
    try {
        from_json(record, decoded);
        return std::nullopt;
    } catch (const DecodingError& error) {
        return error.what();
    } catch (const json::exception&) {
        return "a field of the wrong type";
    }
}

// "lease 3 (02:00:5e:00:00:01)": the record's place in its list, and its MAC when readable.
std::string recordName(std::string_view kind, std::size_t index, const json& record) {
    std::string name(kind);
    name += ' ';
    name += std::to_string(index + 1);
    if (record.is_object()) {
        const auto mac = record.find(kind == "lease" ? "mac" : "reportedBy");
        if (mac != record.end() && mac->is_string()) {
            name += " (" + mac->get<std::string>() + ")";
        }
    }
    return name;
}

template <typename Record, std::size_t KeyCount>
std::vector<Record> readRecords(const json& list, std::string_view kind,
                                const std::array<const char*, KeyCount>& required,
                                std::vector<std::string>& dropped) {
    std::vector<Record> records;
    records.reserve(list.size());
    for (std::size_t index = 0; index < list.size(); ++index) {
        Record decoded{};
        if (auto problem = problemWith(list[index], required, decoded)) {
            dropped.push_back(recordName(kind, index, list[index]) + ": " + *problem);
        } else {
            records.push_back(std::move(decoded));
        }
    }
    return records;
}

} // namespace

std::optional<LeaseDocumentContents> decodeLeaseDocument(std::string_view content, int version) {
    if (auto table = decodePlainLeaseDocument(content, version)) {
        return LeaseDocumentContents{.table = std::move(*table), .droppedRecords = {}};
    }
    return decodeLeaseDocumentRecordByRecord(content, version);
}

std::optional<LeaseDocumentContents> decodeLeaseDocumentRecordByRecord(std::string_view content,
                                                                       int version) {
    const auto document = json::parse(content, nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        return std::nullopt;
    }
    const auto leases = document.find("leases");
    const auto quarantine = document.find("quarantine");
    const auto stated = document.find("version");
    if (leases == document.end() || !leases->is_array() || quarantine == document.end() ||
        !quarantine->is_array() || stated == document.end() || !stated->is_number_integer() ||
        stated->get<std::int64_t>() != version) {
        return std::nullopt;
    }
    LeaseDocumentContents contents;
    auto leaseRecords = readRecords<Lease>(*leases, "lease", leaseKeys, contents.droppedRecords);
    auto holds = readRecords<Quarantine>(*quarantine, "quarantine entry", quarantineKeys,
                                         contents.droppedRecords);
    contents.table = LeaseTable(std::move(leaseRecords), std::move(holds));
    return contents;
}

} // namespace corvane
