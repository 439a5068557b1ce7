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

TEST(SettingsFormFilling, ShowsTheConfigurationAndReadsItBack) {
    auto custom = ServerConfig::defaultConfig();
    custom.leaseSeconds = 5400;
    custom.router = ip("192.168.0.254");
    custom.dns = {ip("9.9.9.9"), ip("1.1.1.1")};
    const SettingsForm form(custom);
    EXPECT_EQ(form.leasePreset, LeasePreset::custom);
    EXPECT_EQ(form.customLease, "5400s");
    EXPECT_EQ(form.dns, "9.9.9.9, 1.1.1.1");
    EXPECT_EQ(form.config(), custom);

    const std::pair<std::uint32_t, LeasePreset> leases[] = {{3600, LeasePreset::oneHour},
                                                            {86401, LeasePreset::custom}};
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
        {"a DNS piece that is not an address",
         formWith([](auto& f) { f.dns = "10.0.0.53,abc"; }),
         {{Field::dns, {"DNS must be IPv4 addresses separated by commas, or empty for off."}}}},
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

} // namespace
} // namespace corvane
