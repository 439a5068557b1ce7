#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/address/address_json.hpp"
#include "core/config/server_config.hpp"

namespace corvane {

// Lets a failing comparison show the sentences rather than raw bytes.
static void PrintTo(const ConfigError& error, std::ostream* stream) {
    *stream << error.description();
}

namespace {

IPv4Address ip(const char* text) {
    return *IPv4Address::parse(text);
}

// A configuration from its parts, with `dnsCount` copies of one DNS server.
ServerConfig config(const char* server, std::int64_t prefix, const char* start, const char* end,
                    std::uint32_t lease = 86400, const char* router = nullptr,
                    std::size_t dnsCount = 0) {
    return ServerConfig{ip(server),
                        prefix,
                        ip(start),
                        ip(end),
                        lease,
                        router ? std::optional(ip(router)) : std::nullopt,
                        std::vector<IPv4Address>(dnsCount, ip("192.168.0.53"))};
}

// The same on 192.168.0.0/24, naming each address by its last byte.
ServerConfig home(int server, int start, int end, std::uint32_t lease = 86400,
                  const char* router = nullptr, std::size_t dnsCount = 0) {
    const auto last = [](int byte) { return "192.168.0." + std::to_string(byte); };
    return config(last(server).c_str(), 24, last(start).c_str(), last(end).c_str(), lease, router,
                  dnsCount);
}

TEST(ServerConfigValidation, ReportsEveryBrokenRuleInTheFixedOrder) {
    using E = ConfigError;
    const Subnet ownSubnet{ip("192.168.0.1"), 24};
    const Subnet wide{ip("10.1.255.255"), 16};
    struct Case {
        const char* rule;
        ServerConfig config;
        std::vector<ConfigError> errors;
    };
    const Case cases[] = {
        {"default", ServerConfig::defaultConfig(), {}},
        {"prefix 7", config("10.0.0.1", 7, "10.0.0.10", "10.0.0.20"), {E::prefixOutOfBounds(7)}},
        {"prefix 30", config("192.168.0.1", 30, "192.168.0.2", "192.168.0.2"), {}},
        {"prefix 31 hides every other fault",
         config("192.168.0.1", 31, "10.0.0.9", "10.0.0.1", 1),
         {E::prefixOutOfBounds(31)}},
        {"server on the network", home(0, 100, 200), {E::serverIPIsNetworkOrBroadcast()}},
        {"reversed range never holds the server", home(150, 200, 100), {E::rangeReversed()}},
        {"range over the network", home(50, 0, 10), {E::rangeIncludesNetworkOrBroadcast()}},
        {"reversed range over the broadcast",
         home(1, 255, 250),
         {E::rangeReversed(), E::rangeIncludesNetworkOrBroadcast()}},
        {"range in another subnet",
         config("192.168.0.1", 24, "192.168.1.10", "192.168.1.20"),
         {E::rangeOutsideSubnet(ownSubnet)}},
        {"range just inside network and broadcast", home(100, 1, 99), {}},
        {"server inside the range", home(1, 1, 10), {E::serverIPInsideRange()}},
        {"gateway outside",
         home(1, 100, 200, 60, "10.0.0.1"),
         {E::gatewayOutsideSubnet(ownSubnet)}},
        {"lease 59", home(1, 100, 200, 59), {E::leaseTimeOutOfBounds()}},
        {"lease 2592001", home(1, 100, 200, 2592001), {E::leaseTimeOutOfBounds()}},
        {"4 DNS servers", home(1, 100, 200, 60, nullptr, 4), {E::tooManyDNSServers()}},
        {"all but the prefix at once",
         config("10.1.255.255", 16, "10.2.0.9", "10.2.0.1", 0, "10.2.0.254", 4),
         {E::serverIPIsNetworkOrBroadcast(), E::rangeReversed(), E::rangeOutsideSubnet(wide),
          E::gatewayOutsideSubnet(wide), E::leaseTimeOutOfBounds(), E::tooManyDNSServers()}},
        {"server rules around the range rules",
         home(0, 0, 200),
         {E::serverIPIsNetworkOrBroadcast(), E::rangeIncludesNetworkOrBroadcast(),
          E::serverIPInsideRange()}},
    };
    for (const auto& [rule, config, errors] : cases) {
        EXPECT_EQ(config.validate(), errors) << rule;
    }
}

TEST(ServerConfigDerived, RenewalRebindingAndPool) {
    const std::tuple<std::uint32_t, std::uint32_t, std::uint32_t> times[] = {
        {86400, 43200, 75600}, {61, 30, 53}, {4294967295u, 2147483647u, 3758096383u}};
    for (const auto& [lease, renewal, rebinding] : times) {
        const auto c = home(1, 100, 200, lease);
        EXPECT_EQ(c.renewalSeconds(), renewal) << lease;
        EXPECT_EQ(c.rebindingSeconds(), rebinding) << lease;
    }
    const auto normal = ServerConfig::defaultConfig();
    const auto reversed = home(1, 200, 100);
    EXPECT_EQ(normal.rangeCount(), 101);
    EXPECT_EQ(reversed.rangeCount(), 0);
    EXPECT_EQ(config("1.0.0.1", 24, "0.0.0.0", "255.255.255.255").rangeCount(), 4294967296);
    EXPECT_EQ(reversed.range(), (AddressRange{ip("192.168.0.100"), ip("192.168.0.200")}));
    EXPECT_TRUE(normal.inRange(ip("192.168.0.100")) && normal.inRange(ip("192.168.0.200")));
    EXPECT_FALSE(normal.inRange(ip("192.168.0.99")) || normal.inRange(ip("192.168.0.201")));
    EXPECT_FALSE(reversed.inRange(ip("192.168.0.150")));
}

TEST(ServerConfigJSON, WritesTheSettingsKeysAndReadsThemBack) {
    EXPECT_EQ(nlohmann::json(ServerConfig::defaultConfig()),
              nlohmann::json::parse(R"({"serverIP":"192.168.0.1","prefixLength":24,
                  "rangeStart":"192.168.0.100","rangeEnd":"192.168.0.200","leaseSeconds":86400,
                  "dns":[]})"));
    // Decoding what was encoded gives it back: server_config_fuzz, for any document it decodes.
    const auto routed = home(1, 100, 200, 60, "192.168.0.254", 3);
    EXPECT_EQ(nlohmann::json(routed)["router"], "192.168.0.254");
    EXPECT_EQ(nlohmann::json(routed).get<ServerConfig>(), routed);

    auto withNull = nlohmann::json(ServerConfig::defaultConfig());
    withNull["router"] = nullptr;
    withNull["comment"] = "from a later build";
    EXPECT_EQ(withNull.get<ServerConfig>(), ServerConfig::defaultConfig());
}

TEST(ServerConfigJSON, DecodingFailsOnAnyMissingOrMalformedField) {
    // Null stands for the key left out.
    const std::pair<const char*, std::vector<nlohmann::json>> cases[] = {
        {"serverIP", {nullptr, "192.168.0.256", 3232235521}},
        {"prefixLength", {"24", 24.5, 18446744073709551615u}},
        {"rangeEnd", {"192.168.0"}},
        {"leaseSeconds", {-1, 4294967296}},
        {"dns", {nullptr, "1.1.1.1", nlohmann::json::array({"1.1.1.1", "1.1.1"})}}};
    for (const auto& [key, values] : cases) {
        for (const auto& value : values) {
            auto document = nlohmann::json(ServerConfig::defaultConfig());
            if (value.is_null()) {
                document.erase(key);
            } else {
                document[key] = value;
            }
            EXPECT_THROW((void)document.get<ServerConfig>(), DecodingError) << key << " " << value;
        }
    }
}

} // namespace
} // namespace corvane
