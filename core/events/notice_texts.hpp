#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/address/ipv4_address.hpp"

// The message of every notice, in one place so tests read the same words the user sees.
namespace corvane::notice_texts {

std::string localNetworkDenied();
std::string otherServer(IPv4Address server);
std::string portInUse(std::string_view holder);
std::string leaseSaveFailed(std::string_view error);
// Also of kind leaseSaveFailed: the file could not even be read at start.
std::string leaseFileUnreadable(std::string_view error);
std::string linkDown(std::string_view card);
std::string adapterUnplugged();
std::string leaseFileSetAside(std::string_view movedFileName);
// The file was set aside for some records only; the other `keptLeases` leases stay.
std::string leaseFileRepaired(std::string_view movedFileName, std::size_t keptLeases);
// The info line that goes with a partly read lease file: how many records were kept and
// which were left out.
std::string leaseRecordsDropped(std::size_t kept, const std::vector<std::string>& dropped);

} // namespace corvane::notice_texts
