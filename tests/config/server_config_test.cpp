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

// The default configuration with one or more fields changed by `change`.
template <typename Change> ServerConfig configWith(Change change) {
    auto config = ServerConfig::defaultConfig();
    change(config);
    return config;
}

std::vector<std::string> descriptions(const std::vector<ConfigError>& errors) {
    std::vector<std::string> texts;
    for (const auto& error : errors) {
        texts.push_back(error.description());
    }
    return texts;
}

TEST(ServerConfigDefault, IsTheDocumentedHomeNetwork) {
    const auto config = ServerConfig::defaultConfig();
    EXPECT_EQ(config.serverIP, ip("192.168.0.1"));
    EXPECT_EQ(config.prefixLength, 24);
    EXPECT_EQ(config.rangeStart, ip("192.168.0.100"));
    EXPECT_EQ(config.rangeEnd, ip("192.168.0.200"));
    EXPECT_EQ(config.leaseSeconds, 86400u);
    EXPECT_FALSE(config.router);
    EXPECT_TRUE(config.dns.empty());
    EXPECT_TRUE(config.validate().empty());
}

TEST(ServerConfigValidation, ReportsEachRuleWithItsSentence) {
    const Subnet home{ip("192.168.0.1"), 24};
    struct Case {
        const char* rule;
        ServerConfig config;
        std::vector<ConfigError> errors;
        std::vector<std::string> texts;
    };
    const Case cases[] = {
        {"prefix 7 is too short",
         configWith([](auto& c) { c.prefixLength = 7; }),
         {ConfigError::prefixOutOfBounds(7)},
         {"Prefix /7 is not allowed. Use /8 to /30."}},
        {"prefix 31 is too long, and hides every other fault",
         configWith([](auto& c) {
             c.prefixLength = 31;
             c.leaseSeconds = 1;
             c.rangeStart = ip("10.0.0.1");
         }),
         {ConfigError::prefixOutOfBounds(31)},
         {"Prefix /31 is not allowed. Use /8 to /30."}},
        {"negative prefix",
         configWith([](auto& c) { c.prefixLength = -3; }),
         {ConfigError::prefixOutOfBounds(-3)},
         {"Prefix /-3 is not allowed. Use /8 to /30."}},
        {"server on the network address",
         configWith([](auto& c) { c.serverIP = ip("192.168.0.0"); }),
         {ConfigError::serverIPIsNetworkOrBroadcast()},
         {"Server IP can't be the subnet's network or broadcast address."}},
        {"server on the broadcast address",
         configWith([](auto& c) { c.serverIP = ip("192.168.0.255"); }),
         {ConfigError::serverIPIsNetworkOrBroadcast()},
         {"Server IP can't be the subnet's network or broadcast address."}},
        {"reversed range never counts the server as inside",
         configWith([](auto& c) {
             c.rangeStart = ip("192.168.0.200");
             c.rangeEnd = ip("192.168.0.100");
             c.serverIP = ip("192.168.0.150");
         }),
         {ConfigError::rangeReversed()},
         {"Range start must not be after range end."}},
        {"range over the network address",
         configWith([](auto& c) {
             c.serverIP = ip("192.168.0.50");
             c.rangeStart = ip("192.168.0.0");
             c.rangeEnd = ip("192.168.0.10");
         }),
         {ConfigError::rangeIncludesNetworkOrBroadcast()},
         {"Range can't include the subnet's network or broadcast address."}},
        {"reversed range over the broadcast address",
         configWith([](auto& c) {
             c.rangeStart = ip("192.168.0.255");
             c.rangeEnd = ip("192.168.0.250");
         }),
         {ConfigError::rangeReversed(), ConfigError::rangeIncludesNetworkOrBroadcast()},
         {"Range start must not be after range end.",
          "Range can't include the subnet's network or broadcast address."}},
        {"range in another subnet names the server's network",
         configWith([](auto& c) {
             c.rangeStart = ip("192.168.1.10");
             c.rangeEnd = ip("192.168.1.20");
         }),
         {ConfigError::rangeOutsideSubnet(home)},
         {"Range must be inside 192.168.0.0/24."}},
        {"range leaving the subnet is not also tested for the broadcast address",
         configWith([](auto& c) { c.rangeEnd = ip("192.168.1.5"); }),
         {ConfigError::rangeOutsideSubnet(home)},
         {"Range must be inside 192.168.0.0/24."}},
        {"server inside the range",
         configWith([](auto& c) {
             c.rangeStart = ip("192.168.0.1");
             c.rangeEnd = ip("192.168.0.10");
         }),
         {ConfigError::serverIPInsideRange()},
         {"Server IP must not be inside the range."}},
        {"gateway outside the subnet",
         configWith([](auto& c) { c.router = ip("10.0.0.1"); }),
         {ConfigError::gatewayOutsideSubnet(home)},
         {"Gateway must be inside 192.168.0.0/24."}},
        {"lease of 59 seconds",
         configWith([](auto& c) { c.leaseSeconds = 59; }),
         {ConfigError::leaseTimeOutOfBounds()},
         {"Lease time must be between 1 minute and 30 days."}},
        {"lease of 30 days and a second",
         configWith([](auto& c) { c.leaseSeconds = 2592001; }),
         {ConfigError::leaseTimeOutOfBounds()},
         {"Lease time must be between 1 minute and 30 days."}},
        {"four DNS servers",
         configWith([](auto& c) {
             c.dns = {ip("1.1.1.1"), ip("8.8.8.8"), ip("9.9.9.9"), ip("1.0.0.1")};
         }),
         {ConfigError::tooManyDNSServers()},
         {"Use at most 3 DNS servers."}},
        {"every rule at once comes in the fixed order",
         configWith([](auto& c) {
             c.serverIP = ip("10.1.255.255");
             c.prefixLength = 16;
             c.rangeStart = ip("10.2.0.9");
             c.rangeEnd = ip("10.2.0.1");
             c.router = ip("10.2.0.254");
             c.leaseSeconds = 0;
             c.dns = std::vector<IPv4Address>(4, ip("10.1.0.53"));
         }),
         {ConfigError::serverIPIsNetworkOrBroadcast(), ConfigError::rangeReversed(),
          ConfigError::rangeOutsideSubnet(Subnet{ip("10.1.255.255"), 16}),
          ConfigError::gatewayOutsideSubnet(Subnet{ip("10.1.255.255"), 16}),
          ConfigError::leaseTimeOutOfBounds(), ConfigError::tooManyDNSServers()},
         {"Server IP can't be the subnet's network or broadcast address.",
          "Range start must not be after range end.", "Range must be inside 10.1.0.0/16.",
          "Gateway must be inside 10.1.0.0/16.", "Lease time must be between 1 minute and 30 days.",
          "Use at most 3 DNS servers."}},
        {"server inside the range and on the network address, range over it too",
         configWith([](auto& c) {
             c.serverIP = ip("192.168.0.0");
             c.rangeStart = ip("192.168.0.0");
         }),
         {ConfigError::serverIPIsNetworkOrBroadcast(),
          ConfigError::rangeIncludesNetworkOrBroadcast(), ConfigError::serverIPInsideRange()},
         {"Server IP can't be the subnet's network or broadcast address.",
          "Range can't include the subnet's network or broadcast address.",
          "Server IP must not be inside the range."}},
    };
    for (const auto& [rule, config, errors, texts] : cases) {
        const auto found = config.validate();
        EXPECT_EQ(found, errors) << rule;
        EXPECT_EQ(descriptions(found), texts) << rule;
    }
}

TEST(ServerConfigValidation, AcceptsEachBoundary) {
    struct Case {
        const char* rule;
        ServerConfig config;
    };
    const Case cases[] = {
        {"prefix 8", configWith([](auto& c) {
             c.serverIP = ip("10.0.0.1");
             c.prefixLength = 8;
             c.rangeStart = ip("10.255.255.1");
             c.rangeEnd = ip("10.255.255.254");
         })},
        {"prefix 30", configWith([](auto& c) {
             c.prefixLength = 30;
             c.rangeStart = ip("192.168.0.2");
             c.rangeEnd = ip("192.168.0.2");
         })},
        {"lease of one minute", configWith([](auto& c) { c.leaseSeconds = 60; })},
        {"lease of 30 days", configWith([](auto& c) { c.leaseSeconds = 2592000; })},
        {"three DNS servers", configWith([](auto& c) {
             c.dns = {ip("1.1.1.1"), ip("8.8.8.8"), ip("9.9.9.9")};
         })},
        {"range ends just inside network and broadcast", configWith([](auto& c) {
             c.serverIP = ip("192.168.0.100");
             c.rangeStart = ip("192.168.0.1");
             c.rangeEnd = ip("192.168.0.99");
         })},
        {"range ending just below the server",
         configWith([](auto& c) { c.serverIP = ip("192.168.0.201"); })},
        {"gateway inside the subnet", configWith([](auto& c) { c.router = ip("192.168.0.254"); })},
    };
    for (const auto& [rule, config] : cases) {
        EXPECT_EQ(descriptions(config.validate()), std::vector<std::string>{}) << rule;
    }
}

TEST(ConfigErrorEquality, ComparesKindAndPayload) {
    EXPECT_EQ(ConfigError::prefixOutOfBounds(7), ConfigError::prefixOutOfBounds(7));
    EXPECT_NE(ConfigError::prefixOutOfBounds(7), ConfigError::prefixOutOfBounds(31));
    const Subnet home{ip("192.168.0.1"), 24};
    EXPECT_NE(ConfigError::rangeOutsideSubnet(home), ConfigError::gatewayOutsideSubnet(home));
    EXPECT_NE(ConfigError::rangeOutsideSubnet(home),
              ConfigError::rangeOutsideSubnet(Subnet{ip("192.168.0.1"), 16}));
    EXPECT_EQ(ConfigError::rangeOutsideSubnet(home).subnet(), home);
    EXPECT_EQ(ConfigError::prefixOutOfBounds(31).prefix(), 31);
    EXPECT_FALSE(ConfigError::rangeReversed().prefix());
    EXPECT_FALSE(ConfigError::rangeReversed().subnet());
}

TEST(ServerConfigDerived, SubnetMaskAndBroadcast) {
    struct Case {
        std::int64_t prefix;
        const char* mask;
        const char* broadcast;
        const char* subnet;
    };
    const Case cases[] = {
        {24, "255.255.255.0", "192.168.0.255", "192.168.0.0/24"},
        {20, "255.255.240.0", "192.168.15.255", "192.168.0.0/20"},
        {0, "0.0.0.0", "255.255.255.255", "0.0.0.0/0"},
        {-5, "0.0.0.0", "255.255.255.255", "0.0.0.0/0"},
        {32, "255.255.255.255", "192.168.0.1", "192.168.0.1/32"},
        {40, "255.255.255.255", "192.168.0.1", "192.168.0.1/32"},
    };
    for (const auto& [prefix, mask, broadcast, subnet] : cases) {
        const auto config = configWith([&](auto& c) { c.prefixLength = prefix; });
        EXPECT_EQ(config.mask().description(), mask) << prefix;
        EXPECT_EQ(config.broadcastAddress().description(), broadcast) << prefix;
        EXPECT_EQ(config.subnet().description(), subnet) << prefix;
    }
}

TEST(ServerConfigDerived, RenewalAndRebindingTimes) {
    struct Case {
        std::uint32_t lease;
        std::uint32_t renewal;
        std::uint32_t rebinding;
    };
    const Case cases[] = {
        {86400, 43200, 75600},
        {61, 30, 53},
        {4294967295u, 2147483647u, 3758096383u},
    };
    for (const auto& [lease, renewal, rebinding] : cases) {
        const auto config = configWith([&](auto& c) { c.leaseSeconds = lease; });
        EXPECT_EQ(config.renewalSeconds(), renewal) << lease;
        EXPECT_EQ(config.rebindingSeconds(), rebinding) << lease;
    }
}

TEST(ServerConfigDerived, RangeCountAndMembership) {
    const auto normal = ServerConfig::defaultConfig();
    EXPECT_EQ(normal.rangeCount(), 101);
    EXPECT_EQ(normal.range(), (AddressRange{ip("192.168.0.100"), ip("192.168.0.200")}));
    EXPECT_TRUE(normal.inRange(ip("192.168.0.100")));
    EXPECT_TRUE(normal.inRange(ip("192.168.0.200")));
    EXPECT_FALSE(normal.inRange(ip("192.168.0.201")));
    EXPECT_FALSE(normal.inRange(ip("192.168.0.99")));

    const auto reversed = configWith([](auto& c) { std::swap(c.rangeStart, c.rangeEnd); });
    EXPECT_EQ(reversed.rangeCount(), 0);
    EXPECT_EQ(reversed.range(), normal.range());
    EXPECT_FALSE(reversed.inRange(ip("192.168.0.150")));

    const auto single = configWith([](auto& c) { c.rangeEnd = c.rangeStart; });
    EXPECT_EQ(single.rangeCount(), 1);

    const auto everything = configWith([](auto& c) {
        c.rangeStart = IPv4Address::zero;
        c.rangeEnd = IPv4Address::broadcast;
    });
    EXPECT_EQ(everything.rangeCount(), 4294967296);
}

TEST(ServerConfigJSON, WritesTheDocumentedKeys) {
    const auto plain = nlohmann::json(ServerConfig::defaultConfig());
    EXPECT_EQ(plain, nlohmann::json::parse(R"({"serverIP":"192.168.0.1","prefixLength":24,
        "rangeStart":"192.168.0.100","rangeEnd":"192.168.0.200","leaseSeconds":86400,
        "dns":[]})"));
    EXPECT_FALSE(plain.contains("router"));

    const auto full = nlohmann::json(configWith([](auto& c) {
        c.router = ip("192.168.0.254");
        c.dns = {ip("9.9.9.9"), ip("1.1.1.1")};
    }));
    EXPECT_EQ(full["router"], "192.168.0.254");
    EXPECT_EQ(full["dns"], nlohmann::json::parse(R"(["9.9.9.9","1.1.1.1"])"));
}

TEST(ServerConfigJSON, RoundTripsWithoutValidating) {
    const ServerConfig cases[] = {
        ServerConfig::defaultConfig(),
        configWith([](auto& c) {
            c.router = ip("192.168.0.254");
            c.dns = {ip("9.9.9.9"), ip("1.1.1.1"), ip("8.8.8.8")};
        }),
        configWith([](auto& c) {
            c.prefixLength = -1;
            c.leaseSeconds = 4294967295u;
            std::swap(c.rangeStart, c.rangeEnd);
        }),
        configWith([](auto& c) { c.prefixLength = 9223372036854775807; }),
    };
    for (const auto& config : cases) {
        const auto text = nlohmann::json(config).dump();
        EXPECT_EQ(nlohmann::json::parse(text).get<ServerConfig>(), config) << text;
    }
}

TEST(ServerConfigJSON, DecodingToleratesAbsentRouterAndUnknownKeys) {
    const auto withNull = nlohmann::json::parse(R"({"serverIP":"10.0.0.1","prefixLength":24,
        "rangeStart":"10.0.0.10","rangeEnd":"10.0.0.20","leaseSeconds":3600,"router":null,
        "dns":["10.0.0.53"],"comment":"from an older build"})");
    const auto config = withNull.get<ServerConfig>();
    EXPECT_FALSE(config.router);
    EXPECT_EQ(config.dns, std::vector<IPv4Address>{ip("10.0.0.53")});
    EXPECT_EQ(config.leaseSeconds, 3600u);
}

TEST(ServerConfigJSON, DecodingFailsOnAnyMissingOrMalformedField) {
    struct Case {
        const char* fault;
        const char* key;
        nlohmann::json value;
    };
    const Case cases[] = {
        {"server address missing", "serverIP", nullptr},
        {"server address not an address", "serverIP", "192.168.0.256"},
        {"server address a number", "serverIP", 3232235521},
        {"prefix missing", "prefixLength", nullptr},
        {"prefix as text", "prefixLength", "24"},
        {"prefix with a fraction", "prefixLength", 24.5},
        {"prefix as a boolean", "prefixLength", true},
        {"prefix beyond 64 bits", "prefixLength", 18446744073709551615u},
        {"range start missing", "rangeStart", nullptr},
        {"range end malformed", "rangeEnd", "192.168.0"},
        {"lease missing", "leaseSeconds", nullptr},
        {"lease negative", "leaseSeconds", -1},
        {"lease beyond 32 bits", "leaseSeconds", 4294967296},
        {"lease as text", "leaseSeconds", "24h"},
        {"router malformed", "router", "gateway"},
        {"router a number", "router", 1},
        {"dns missing", "dns", nullptr},
        {"dns a single string", "dns", "1.1.1.1"},
        {"dns holding a bad address", "dns", nlohmann::json::array({"1.1.1.1", "1.1.1"})},
        {"dns holding a number", "dns", nlohmann::json::array({1})},
    };
    for (const auto& [fault, key, value] : cases) {
        auto document = nlohmann::json(ServerConfig::defaultConfig());
        if (value.is_null()) {
            document.erase(key);
        } else {
            document[key] = value;
        }
        EXPECT_THROW((void)document.get<ServerConfig>(), DecodingError) << fault;
    }
    EXPECT_THROW((void)nlohmann::json::array().get<ServerConfig>(), DecodingError);
    EXPECT_THROW((void)nlohmann::json("config").get<ServerConfig>(), DecodingError);
}

} // namespace
} // namespace corvane
