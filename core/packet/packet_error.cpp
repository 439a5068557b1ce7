#include "core/packet/packet_error.hpp"

namespace corvane {
namespace {

struct DescribeReason {
    std::string operator()(const PacketError::TooShort& reason) const {
        return "too short (" + std::to_string(reason.length) + " bytes)";
    }
    std::string operator()(const PacketError::OptionOverrun& reason) const {
        return "option " + std::to_string(reason.code) + " runs past the end";
    }
    std::string operator()(const PacketError::BadMagicCookie&) const { return "bad magic cookie"; }
};

} // namespace

std::string PacketError::description() const {
    return std::visit(DescribeReason{}, reason_);
}

} // namespace corvane
