#pragma once

#include <string>

#include "core/leases/lease_table.hpp"

namespace corvane {

// The lease file's text for `table`: a JSON object with "leases", "quarantine" and
// "version", indented by two spaces, keys sorted, ending in a newline. Written straight
// into one string, the same text a JSON document tree would print, because the server saves
// after every change and building the tree first cost several times the writing.
std::string encodeLeaseDocument(const LeaseTable& table, int version);

} // namespace corvane
