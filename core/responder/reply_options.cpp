#include "core/responder/reply_options.hpp"

#include <algorithm>
#include <variant>

#include "core/options/option_value.hpp"
#include "core/packet/option_code.hpp"

namespace corvane {
namespace {

// RFC 2132 section 9.10: the maximum DHCP message size option.
constexpr std::uint8_t maximumMessageSize = 57;
constexpr std::uint8_t bootFileName = 67;
// RFC 2131 section 2: every client takes a 576-byte datagram; 20 bytes of IP and 8 of UDP
// header leave 548 for the DHCP message.
constexpr std::size_t smallestDatagram = 576;
constexpr std::size_t ipAndUDPHeaders = 28;
// Header and magic cookie before the options, the end option after them.
constexpr std::size_t fixedPart = DHCPPacket::headerLength + DHCPPacket::magicCookie.size() + 1;

std::size_t encodedLength(const DHCPPacket& packet) {
    std::size_t length = fixedPart;
    for (const auto& field : packet.options) {
        length += 2 + field.data.size();
    }
    return length;
}

std::vector<DHCPOptionField> candidates(const DHCPPacket& request, const ServerConfig& config) {
    std::vector<DHCPOptionField> fields;
    for (const auto& [code, value] : config.options) {
        if (auto encoded = encodeOptionValue(code, value);
            auto* data = std::get_if<Bytes>(&encoded)) {
            fields.push_back({code, std::move(*data)});
        }
    }
    const auto asked = request.option(OptionCode::parameterList).value_or(Bytes{});
    if (!config.bootFile.empty() && std::ranges::count(asked, bootFileName) > 0) {
        fields.push_back({bootFileName, Bytes(config.bootFile.begin(), config.bootFile.end())});
    }
    // Asked-for codes first, in the client's order; a stable sort keeps the rest by code.
    const auto rank = [&asked](const DHCPOptionField& field) {
        const auto position = std::ranges::find(asked, field.code);
        return static_cast<std::size_t>(position - asked.begin());
    };
    std::ranges::stable_sort(fields, {}, rank);
    return fields;
}

} // namespace

std::size_t replySizeLimit(const DHCPPacket& request) {
    std::size_t accepted = smallestDatagram;
    if (const auto size = request.option(maximumMessageSize); size && size->size() == 2) {
        accepted =
            std::max<std::size_t>(accepted, static_cast<std::size_t>((*size)[0] << 8 | (*size)[1]));
    }
    return accepted - ipAndUDPHeaders;
}

std::vector<LeftOutOption> addBootAndConfiguredOptions(DHCPPacket& reply, const DHCPPacket& request,
                                                       const ServerConfig& config) {
    if (config.nextServer) {
        reply.siaddr = *config.nextServer;
    }
    reply.bootFile = config.bootFile;
    std::vector<LeftOutOption> leftOut;
    const auto limit = replySizeLimit(request);
    auto length = encodedLength(reply);
    for (auto& field : candidates(request, config)) {
        if (reply.option(field.code)) {
            continue;
        }
        if (length + 2 + field.data.size() > limit) {
            leftOut.push_back({field.code, limit});
            continue;
        }
        length += 2 + field.data.size();
        reply.setOption(field.code, std::move(field.data));
    }
    return leftOut;
}

} // namespace corvane
