#pragma once

#include <string>

#include "core/leases/lease_table.hpp"

namespace corvane {

// The lease file's text for `table`: a JSON object with "leases", "quarantine" and
// "version", indented by two spaces, keys sorted, ending in a newline. Written straight
// into one string, the same text a JSON document tree would print, because the server saves
// after every change and building the tree first cost several times the writing.
std::string encodeLeaseDocument(const LeaseTable& table, int version);
// One lease as compact JSON on one line (keys sorted, no spaces), appended to `out`: the
// text a compact dump of the lease's JSON tree prints, for the lease journal.
void appendLeaseLine(std::string& out, const Lease& lease);

} // namespace corvane
