#include "core/server/arrival_check.hpp"

#include <net/if.h>

#include "core/server/server_texts.hpp"

namespace corvane {
namespace {

std::string interfaceNameOf(std::uint32_t index) {
    char name[IF_NAMESIZE] = {};
    if (if_indextoname(index, name) == nullptr) {
        return server_texts::unnamedInterface(index);
    }
    return name;
}

} // namespace

std::optional<std::string> wrongCardReason(std::optional<std::uint32_t> arrivalIndex,
                                           std::uint32_t servedIndex,
                                           const std::string& servedName) {
    if (!arrivalIndex || *arrivalIndex == servedIndex) {
        return std::nullopt;
    }
    return server_texts::arrivedOnOtherCard(interfaceNameOf(*arrivalIndex), servedName);
}

} // namespace corvane
