#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "core/options/option_catalog.hpp"
#include "core/options/option_value.hpp"

namespace corvane {
namespace {

struct Encoded {
    std::uint8_t code;
    const char* text;
    Bytes bytes;
};

TEST(OptionValue, KnownCodesTakeTheirNaturalFormAndAnyCodeTheTypedForms) {
    const Encoded cases[] = {
        {42, "192.168.0.1, 10.0.0.1", {192, 168, 0, 1, 10, 0, 0, 1}},
        {150, "10.0.0.9", {10, 0, 0, 9}},
        {66, " tftp.lab ", {'t', 'f', 't', 'p', '.', 'l', 'a', 'b'}},
        {26, "1500", {0x05, 0xdc}},
        {2, "-1", {0xff, 0xff, 0xff, 0xff}},
        {19, "on", {1}},
        {19, "false", {0}},
        {33, "10.0.0.0,192.168.0.1", {10, 0, 0, 0, 192, 168, 0, 1}},
        // RFC 3397 wire form: length-prefixed labels ending in a zero byte.
        {119, "a.bc,d", {1, 'a', 2, 'b', 'c', 0, 1, 'd', 0}},
        // RFC 3442: /8 keeps one destination byte, /0 none, /25 four.
        {121,
         "10.0.0.0/8,192.168.0.1,0.0.0.0/0,192.168.0.2,10.1.2.128/25,192.168.0.3",
         {8, 10, 192, 168, 0, 1, 0, 192, 168, 0, 2, 25, 10, 1, 2, 128, 192, 168, 0, 3}},
        {224, "hex:0a0B0c", {0x0a, 0x0b, 0x0c}},
        {224, "hex:0a:0b", {0x0a, 0x0b}},
        {224, "text: hi", {' ', 'h', 'i'}},
        {224, "ip:1.2.3.4,5.6.7.8", {1, 2, 3, 4, 5, 6, 7, 8}},
        {224, "u8:7", {7}},
        {224, "u16:258", {1, 2}},
        {224, "u32:65536", {0, 1, 0, 0}},
        {66, "hex:41", {0x41}},
    };
    for (const auto& testCase : cases) {
        const auto encoded = encodeOptionValue(testCase.code, testCase.text);
        ASSERT_TRUE(std::holds_alternative<Bytes>(encoded))
            << testCase.text << ": " << std::get<OptionValueProblem>(encoded).sentence;
        EXPECT_EQ(std::get<Bytes>(encoded), testCase.bytes) << testCase.text;
    }
}

TEST(OptionValue, ValuesThatDoNotParseAreRefusedWithASentenceNamingTheCode) {
    struct Refused {
        std::uint8_t code;
        std::string text;
        const char* sentenceStart;
    };
    const Refused cases[] = {
        {224, "hex:zz", "Option 224 needs pairs of hexadecimal digits after hex:"},
        {224, "hex:abc", "Option 224 needs pairs of hexadecimal digits after hex:"},
        {224, "plain", "Option 224 has no known value form"},
        {42, "192.168.0", "Option 42 (NTP servers) needs IPv4 addresses"},
        {150, "10.0.0.1,", "Option 150 (TFTP server addresses) needs IPv4 addresses"},
        {26, "70000", "Option 26 (Interface MTU) needs a whole number from 0 to 65535"},
        {224, "u8:256", "Option 224 needs a whole number from 0 to 255 after u8:"},
        {16, "1.2.3.4,5.6.7.8", "Option 16 (Swap server) needs an IPv4 address"},
        {19, "maybe", "Option 19 (IP forwarding) needs on or off"},
        {119, "bad..name", "Option 119 (Domain search list) needs domain names"},
        {121, "10.0.0.1/8,192.168.0.1", "Option 121 (Classless static routes) needs"},
        {33, "10.0.0.0", "Option 33 (Static routes) needs pairs"},
        {66, "  ", "Option 66 needs a value"},
        {66, "text:" + std::string(256, 'x'), "Option 66 is longer than the 255 bytes"},
    };
    for (const auto& testCase : cases) {
        const auto encoded = encodeOptionValue(testCase.code, testCase.text);
        ASSERT_TRUE(std::holds_alternative<OptionValueProblem>(encoded)) << testCase.text;
        const auto& sentence = std::get<OptionValueProblem>(encoded).sentence;
        EXPECT_TRUE(sentence.starts_with(testCase.sentenceStart)) << sentence;
        EXPECT_TRUE(sentence.ends_with(".")) << sentence;
    }
}

TEST(OptionValue, AssignmentsNeedACodeFromOneTo254) {
    const auto assignment = parseOptionAssignment("66=tftp=lab");
    ASSERT_TRUE(std::holds_alternative<OptionAssignment>(assignment));
    EXPECT_EQ(std::get<OptionAssignment>(assignment).code, 66);
    EXPECT_EQ(std::get<OptionAssignment>(assignment).value, "tftp=lab");
    for (const auto* text : {"0=x", "255=x", "abc=x", "66", "-1=x", "=x"}) {
        EXPECT_TRUE(std::holds_alternative<OptionValueProblem>(parseOptionAssignment(text)))
            << text;
    }
}

// Which setting owns a code is read through its refusal in the configuration tests.
TEST(OptionCatalog, NoKnownOptionIsOneTheServerWrites) {
    for (const auto& known : knownOptions()) {
        EXPECT_FALSE(serverOwnedOption(known.code)) << int(known.code);
        EXPECT_EQ(knownOption(known.code)->name, known.name);
    }
    EXPECT_FALSE(knownOption(224));
}

} // namespace
} // namespace corvane
