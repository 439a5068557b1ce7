#pragma once

#include <cstddef>

#include <nlohmann/json.hpp>

#include "core/address/ipv4_address.hpp"
#include "core/address/mac_address.hpp"
#include "core/leases/lease.hpp"

namespace corvane {

// An address held back from allocation after a client declined it or it proved to be in
// use; the hold ends at `until` itself.
struct Quarantine {
    // Holds are few in normal use: one per address a device found taken. The bound keeps a
    // storm of reports from growing the table and its file without limit; the oldest hold
    // gives way first.
    static constexpr std::size_t maxEntries = 4096;

    IPv4Address ip;
    TimePoint until;
    MACAddress reportedBy;

    bool holds(TimePoint now) const { return until > now; }

    friend bool operator==(const Quarantine&, const Quarantine&) = default;
};

void to_json(nlohmann::json& document, const Quarantine& quarantine);
void from_json(const nlohmann::json& document, Quarantine& quarantine);

} // namespace corvane
