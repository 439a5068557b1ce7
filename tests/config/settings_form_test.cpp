#include <gtest/gtest.h>

#include "core/config/config_texts.hpp"
#include "core/config/settings_form.hpp"

namespace corvane {
namespace {

using Field = SettingsForm::Field;
using Messages = SettingsForm::Messages;

IPv4Address ip(const char* text) {
    return *IPv4Address::parse(text);
}

template <typename Change> SettingsForm formWith(Change change) {
    SettingsForm form(ServerConfig::defaultConfig());
    change(form);
    return form;
}

TEST(LeasePresetTable, NamesLabelsAndSecondsInPickerOrder) {
    struct Case {
        const char* name;
        const char* label;
        std::optional<std::uint32_t> seconds;
    };
    const Case cases[] = {{"oneHour", "1 h", 3600},
                          {"eightHours", "8 h", 28800},
                          {"oneDay", "24 h", 86400},
                          {"sevenDays", "7 d", 604800},
                          {"custom", "Custom", std::nullopt}};
    ASSERT_EQ(std::size(cases), allLeasePresets.size());
    for (std::size_t index = 0; index < allLeasePresets.size(); ++index) {
        const auto preset = allLeasePresets[index];
        EXPECT_EQ(leasePresetName(preset), cases[index].name);
        EXPECT_EQ(leasePresetLabel(preset), cases[index].label);
        EXPECT_EQ(leasePresetSeconds(preset), cases[index].seconds);
        EXPECT_EQ(leasePresetNamed(cases[index].name), preset);
    }
    EXPECT_FALSE(leasePresetNamed("OneHour"));
}

TEST(SettingsFormFilling, ShowsTheConfigurationAndReadsItBack) {
    auto custom = ServerConfig::defaultConfig();
    custom.leaseSeconds = 5400;
    custom.router = ip("192.168.0.254");
    custom.dns = {ip("9.9.9.9"), ip("1.1.1.1")};
    const SettingsForm form(custom);
    EXPECT_EQ(form.serverIP, "192.168.0.1");
    EXPECT_EQ(form.prefix, "24");
    EXPECT_EQ(form.rangeStart, "192.168.0.100");
    EXPECT_EQ(form.rangeEnd, "192.168.0.200");
    EXPECT_EQ(form.leasePreset, LeasePreset::custom);
    EXPECT_EQ(form.customLease, "5400s");
    EXPECT_EQ(form.router, "192.168.0.254");
    EXPECT_EQ(form.dns, "9.9.9.9, 1.1.1.1");
    EXPECT_EQ(form.config(), custom);

    const std::pair<std::uint32_t, LeasePreset> leases[] = {
        {3600, LeasePreset::oneHour},  {28800, LeasePreset::eightHours},
        {86400, LeasePreset::oneDay},  {604800, LeasePreset::sevenDays},
        {60, LeasePreset::custom},     {86401, LeasePreset::custom},
        {2592000, LeasePreset::custom}};
    for (const auto& [lease, preset] : leases) {
        auto config = ServerConfig::defaultConfig();
        config.leaseSeconds = lease;
        const SettingsForm filled(config);
        EXPECT_EQ(filled.leasePreset, preset) << lease;
        EXPECT_EQ(filled.customLease,
                  preset == LeasePreset::custom ? std::to_string(lease) + "s" : "");
        EXPECT_EQ(filled.evaluate(), (SettingsForm::Evaluation{config, {}})) << lease;
    }
}

TEST(SettingsFormEvaluation, PutsEachMessageUnderItsArea) {
    struct Case {
        const char* rule;
        SettingsForm form;
        Messages errors;
    };
    // Validation's own sentences are checked word for word in ConfigErrorText; here only
    // the area each one lands under.
    const auto text = [](std::string_view message) { return std::string(message); };
    const Subnet home{ip("192.168.0.1"), 24};
    const Case cases[] = {
        {"prefix 31 is a number but out of bounds",
         formWith([](auto& f) { f.prefix = "31"; }),
         {{Field::server, {config_texts::prefixOutOfBounds(31)}}}},
        {"a prefix that is not a number skips validation",
         formWith([](auto& f) {
             f.prefix = "abc";
             f.rangeEnd = "192.168.0.50";
         }),
         {{Field::server, {"Prefix must be a number such as 24."}}}},
        {"prefix beyond 64 bits",
         formWith([](auto& f) { f.prefix = "9223372036854775808"; }),
         {{Field::server, {text(config_texts::prefixNotANumber)}}}},
        {"line break is not a blank",
         formWith([](auto& f) { f.prefix = "24\n"; }),
         {{Field::server, {text(config_texts::prefixNotANumber)}}}},
        {"bad server and missing range end",
         formWith([](auto& f) {
             f.serverIP = "192.168.0";
             f.rangeEnd = "";
         }),
         {{Field::server, {"Server IP must look like 192.168.0.1."}},
          {Field::range, {"Range must be two IPv4 addresses."}}}},
        {"server and prefix both unreadable, in field order",
         formWith([](auto& f) {
             f.serverIP = "x";
             f.prefix = "";
         }),
         {{Field::server,
           {text(config_texts::serverIPNotAnAddress), text(config_texts::prefixNotANumber)}}}},
        {"custom lease below a minute",
         formWith([](auto& f) {
             f.leasePreset = LeasePreset::custom;
             f.customLease = "45s";
         }),
         {{Field::lease, {text(config_texts::leaseTimeOutOfBounds)}}}},
        {"custom lease with a fraction",
         formWith([](auto& f) {
             f.leasePreset = LeasePreset::custom;
             f.customLease = "1.5h";
         }),
         {{Field::lease, {"Lease time must look like 90m, 24h or 7d."}}}},
        {"gateway that is not an address",
         formWith([](auto& f) { f.router = "router"; }),
         {{Field::gateway, {"Gateway must be an IPv4 address, or empty for off."}}}},
        {"gateway outside the subnet",
         formWith([](auto& f) { f.router = "10.0.0.1"; }),
         {{Field::gateway, {config_texts::gatewayOutsideSubnet(home)}}}},
        {"a DNS piece that is not an address",
         formWith([](auto& f) { f.dns = "10.0.0.53,abc"; }),
         {{Field::dns, {"DNS must be IPv4 addresses separated by commas, or empty for off."}}}},
        {"four DNS servers",
         formWith([](auto& f) { f.dns = "1.1.1.1,1.0.0.1,8.8.8.8,9.9.9.9"; }),
         {{Field::dns, {text(config_texts::tooManyDNSServers)}}}},
        {"validation messages follow validation order within an area",
         formWith([](auto& f) {
             f.serverIP = "192.168.0.0";
             f.rangeStart = "192.168.0.0";
             f.rangeEnd = "192.168.1.1";
         }),
         {{Field::server,
           {text(config_texts::serverIPIsNetworkOrBroadcast),
            text(config_texts::serverIPInsideRange)}},
          {Field::range, {config_texts::rangeOutsideSubnet(home)}}}},
        {"reversed range",
         formWith([](auto& f) { std::swap(f.rangeStart, f.rangeEnd); }),
         {{Field::range, {text(config_texts::rangeReversed)}}}},
    };
    for (const auto& [rule, form, errors] : cases) {
        const auto evaluation = form.evaluate();
        EXPECT_EQ(evaluation.errors, errors) << rule;
        EXPECT_FALSE(evaluation.config) << rule;
    }
}

TEST(SettingsFormEvaluation, ReadsBlanksAndListsLeniently) {
    const auto form = formWith([](auto& f) {
        f.serverIP = "\t10.0.0.1 ";
        f.prefix = " +8";
        f.rangeStart = " 10.0.0.100";
        f.rangeEnd = "10.0.0.200\t";
        f.leasePreset = LeasePreset::custom;
        f.customLease = " 90m ";
        f.router = "  ";
        f.dns = " 10.0.0.53 , , 10.0.0.54,";
    });
    const auto config = form.config();
    ASSERT_TRUE(config) << ::testing::PrintToString(form.errors());
    EXPECT_EQ(config->serverIP, ip("10.0.0.1"));
    EXPECT_EQ(config->prefixLength, 8);
    EXPECT_EQ(config->leaseSeconds, 5400u);
    EXPECT_FALSE(config->router);
    EXPECT_EQ(config->dns, (std::vector<IPv4Address>{ip("10.0.0.53"), ip("10.0.0.54")}));
    EXPECT_TRUE(form.errors().empty());
    EXPECT_TRUE(formWith([](auto& f) { f.dns = " \t, "; }).config()->dns.empty());
    // The custom text only counts when the picker says so.
    EXPECT_EQ(formWith([](auto& f) { f.customLease = "junk"; }).leaseSeconds(), 86400u);
}

TEST(SettingsFormRangeCount, CountsOnlyReadableForwardRanges) {
    struct Case {
        const char* start;
        const char* end;
        std::optional<std::int64_t> count;
    };
    const Case cases[] = {
        {"192.168.0.100", "192.168.0.200", 101},
        {" 10.0.0.1 ", "10.0.0.1", 1},
        {"0.0.0.0", "255.255.255.255", 4294967296},
        {"192.168.0.200", "192.168.0.100", std::nullopt},
        {"192.168.0.100", "192.168.0", std::nullopt},
        {"", "192.168.0.1", std::nullopt},
    };
    for (const auto& [start, end, count] : cases) {
        SettingsForm form;
        form.rangeStart = start;
        form.rangeEnd = end;
        EXPECT_EQ(form.rangeCount(), count) << start << " - " << end;
    }
}

} // namespace
} // namespace corvane
