#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/address/address_json.hpp"
#include "core/config/server_config.hpp"
#include "core/config/settings_form.hpp"

namespace corvane {
namespace {

const MACAddress camera = *MACAddress::parse("02:00:00:00:00:01");
const MACAddress board = *MACAddress::parse("02:00:00:00:00:02");

IPv4Address home(std::uint8_t host) {
    return IPv4Address(192, 168, 0, host);
}

ServerConfig labConfig() {
    auto config = ServerConfig::defaultConfig();
    config.reservations = {{camera, home(50), "camera"}, {board, home(150), ""}};
    config.options = {{66, "tftp.lab"}, {224, "hex:0a0b"}};
    config.nextServer = home(2);
    config.bootFile = "pxelinux.0";
    return config;
}

std::vector<std::string> sentences(const ServerConfig& config) {
    std::vector<std::string> texts;
    for (const auto& error : config.validate()) {
        texts.push_back(error.description());
    }
    return texts;
}

TEST(LabConfig, EachBadReservationOptionOrBootFileIsOneSentence) {
    struct Case {
        const char* name;
        std::function<void(ServerConfig&)> edit;
        std::string sentence;
    };
    const Case cases[] = {
        {"outside the subnet", [](auto& c) { c.reservations[0].ip = IPv4Address(10, 0, 0, 5); },
         "Reserved address 10.0.0.5 for 02:00:00:00:00:01 must be inside 192.168.0.0/24."},
        {"the broadcast address", [](auto& c) { c.reservations[0].ip = home(255); },
         "Reserved address 192.168.0.255 for 02:00:00:00:00:01 must be inside 192.168.0.0/24."},
        {"the server's address", [](auto& c) { c.reservations[0].ip = home(1); },
         "Reserved address 192.168.0.1 for 02:00:00:00:00:01 is the server's own address; "
         "reserve another one."},
        {"one address twice", [](auto& c) { c.reservations[1].ip = home(50); },
         "Address 192.168.0.50 is reserved twice; reserve each address for one device only."},
        {"one device twice", [](auto& c) { c.reservations[1].mac = camera; },
         "Device 02:00:00:00:00:01 has two reservations; give each device one address."},
        {"an owned code", [](auto& c) { c.options[3] = "192.168.0.1"; },
         "Option 3 is written by Corvane itself; set it with the Gateway field instead."},
        {"an owned code without a setting", [](auto& c) { c.options[53] = "u8:1"; },
         "Option 53 is written by Corvane itself and can't be set."},
        {"a value that does not parse", [](auto& c) { c.options[224] = "hex:zz"; },
         "Option 224 needs pairs of hexadecimal digits after hex:, such as 224=hex:0a0b0c."},
        {"a long boot file", [](auto& c) { c.bootFile = std::string(128, 'b'); },
         "Boot file name must be at most 127 bytes long."},
    };
    EXPECT_TRUE(labConfig().validate().empty());
    for (const auto& testCase : cases) {
        auto config = labConfig();
        testCase.edit(config);
        EXPECT_EQ(sentences(config), std::vector{testCase.sentence}) << testCase.name;
    }
}

TEST(LabConfig, TheSettingsKeysRoundTripAndOlderSettingsStillDecode) {
    const nlohmann::json document = labConfig();
    EXPECT_EQ(
        document["reservations"][0],
        (nlohmann::json{{"mac", "02:00:00:00:00:01"}, {"ip", "192.168.0.50"}, {"name", "camera"}}));
    EXPECT_EQ(document["options"]["66"], "tftp.lab");
    EXPECT_EQ(document.get<ServerConfig>(), labConfig());

    const nlohmann::json plain = ServerConfig::defaultConfig();
    EXPECT_FALSE(plain.contains("reservations") || plain.contains("options") ||
                 plain.contains("nextServer") || plain.contains("bootFile"));
    EXPECT_EQ(plain.get<ServerConfig>(), ServerConfig::defaultConfig());
}

TEST(LabConfig, DecodingRefusesEntriesItCannotRead) {
    for (const auto& [key, value] : std::vector<std::pair<const char*, nlohmann::json>>{
             {"reservations", nlohmann::json::array({{{"mac", "zz"}, {"ip", "192.168.0.5"}}})},
             {"reservations", nlohmann::json::array({{{"mac", "02:00:00:00:00:01"}}})},
             {"options", {{"300", "x"}}},
             {"options", {{"66", true}}},
             {"nextServer", "tftp"},
         }) {
        nlohmann::json document = ServerConfig::defaultConfig();
        document[key] = value;
        EXPECT_THROW(document.get<ServerConfig>(), DecodingError) << value.dump();
    }
}

TEST(LabConfig, TheSettingsFormReadsBackItsLabFieldsAndShowsMistakesAtTheirField) {
    SettingsForm form(labConfig());
    EXPECT_EQ(form.config(), labConfig());

    form.reservations.push_back({"02-00", "192.168.0.60", ""});
    form.nextServer = "tftp";
    form.options.push_back({"66", "other"});
    form.options.push_back({"x", "1"});
    using Field = SettingsForm::Field;
    const SettingsForm::Messages expected{
        {Field::reservations, {"\"02-00\" is not a MAC address; write it like 02:00:00:00:00:01."}},
        {Field::boot, {"Boot server must be an IPv4 address, or empty for none."}},
        {Field::options,
         {"Option 66 is given twice; keep one value.",
          "Option code \"x\" must be a number from 1 to 254."}},
    };
    EXPECT_EQ(form.errors(), expected);

    SettingsForm invalid(labConfig());
    invalid.options.push_back({"6", "10.0.0.1"});
    EXPECT_EQ(
        invalid.errors(),
        (SettingsForm::Messages{
            {Field::options,
             {"Option 6 is written by Corvane itself; set it with the DNS field instead."}}}));
}

} // namespace
} // namespace corvane
