#include "core/leases/quarantine.hpp"

#include "core/address/address_json.hpp"
#include "core/leases/iso8601.hpp"

namespace corvane {

void to_json(nlohmann::json& document, const Quarantine& quarantine) {
    document = nlohmann::json::object();
    document["ip"] = quarantine.ip;
    document["until"] = formatISO8601(quarantine.until);
    document["reportedBy"] = quarantine.reportedBy;
}

void from_json(const nlohmann::json& document, Quarantine& quarantine) {
    quarantine.ip = document.at("ip").get<IPv4Address>();
    quarantine.until = timePointFromJSON(document.at("until"));
    quarantine.reportedBy = document.at("reportedBy").get<MACAddress>();
}

} // namespace corvane
