#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <nlohmann/json.hpp>

#include "core/address/address_json.hpp"
#include "core/config/server_config.hpp"

namespace {

[[noreturn]] void fail(const char* broken) {
    std::fprintf(stderr, "server_config_fuzz: %s\n", broken);
    std::abort();
}

} // namespace

// Whatever the text, decoding either refuses it with a DecodingError or gives a
// configuration that encodes and decodes back equal; validation never throws, and a
// configuration it accepts has a well-formed pool inside its own subnet.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto document =
        nlohmann::json::parse(reinterpret_cast<const char*>(data),
                              reinterpret_cast<const char*>(data) + size, nullptr, false);
    if (document.is_discarded()) {
        return 0;
    }
    corvane::ServerConfig config;
    try {
        config = document.get<corvane::ServerConfig>();
    } catch (const corvane::DecodingError&) {
        return 0;
    } catch (const nlohmann::json::exception&) {
        fail("a document was refused with a library error instead of a DecodingError");
    }
    const nlohmann::json encoded = config;
    if (encoded.get<corvane::ServerConfig>() != config) {
        fail("a decoded configuration did not survive encoding");
    }
    if (config.validate().empty()) {
        const auto subnet = config.subnet();
        if (!config.inRange(config.rangeStart) || !config.inRange(config.rangeEnd) ||
            !subnet.contains(config.rangeStart) || !subnet.contains(config.rangeEnd) ||
            config.rangeCount() < 1) {
            fail("an accepted configuration has a pool outside its subnet or none at all");
        }
    }
    return 0;
}
