#include "core/transport/local_network.hpp"

#include <cerrno>

namespace corvane::LocalNetwork {
namespace {

// The kernel's answers when a datagram has no way out of the card.
bool isUnreachable(int code) {
    return code == EADDRNOTAVAIL || code == ENETDOWN || code == ENETUNREACH || code == EHOSTUNREACH;
}

// Netfilter rejects a locally generated datagram with EPERM (or EACCES for some targets).
bool isRefusedByFirewall(int code) {
    return code == EPERM || code == EACCES;
}

} // namespace

SendFailure classify(const TransportError& error, bool linkUp, bool serverAddressPresent) {
    if (isRefusedByFirewall(error.code()) && linkUp && serverAddressPresent) {
        return SendFailure::possiblyDenied();
    }
    if (!isUnreachable(error.code())) {
        return SendFailure::other(error.description());
    }
    if (!linkUp) {
        return SendFailure::linkDown();
    }
    if (!serverAddressPresent) {
        return SendFailure::addressMissing();
    }
    return SendFailure::possiblyDenied();
}

} // namespace corvane::LocalNetwork
