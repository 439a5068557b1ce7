#pragma once

#include <optional>
#include <string_view>

#include "core/leases/lease_table.hpp"

namespace corvane {

// The quick way through a lease document of `version` as our own writer leaves it (any JSON
// whitespace and key order): records go straight into leases, with no JSON tree between.
// No value when the document holds anything it does not handle (an escape, a character
// beyond ASCII, an unknown or repeated key, a record that does not read, a document that is
// not one at all); the caller then reads it the thorough way, which names what is wrong.
std::optional<LeaseTable> decodePlainLeaseDocument(std::string_view content, int version);

} // namespace corvane
