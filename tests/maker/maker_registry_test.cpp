#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "core/maker/maker_registry.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane {
namespace {

MACAddress mac(const char* text) {
    return *MACAddress::parse(text);
}

// A registry folder of the test's own, in the layout ieee-data ships.
class MakerRegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        write("oui.csv", "MA-L,001B21,Intel Corporate,\"Lot 8, Jalan Hi-Tech\"\n"
                         "MA-L,70B3D5,IEEE Registration Authority,445 Hoes Lane\n"
                         "MA-L,0050C2,\"Acme, \"\"Labs\"\"\",Somewhere\n"
                         "broken line\n");
        write("mam.csv", "MA-M,70B3D5A,Medium Maker,Street 1\n");
        write("oui36.csv", "MA-S,70B3D5AB1,Small Maker,Street 2\r\n");
    }
    void write(const char* name, const std::string& rows) {
        std::ofstream(folder_ / name) << "Registry,Assignment,Organization Name,Organization "
                                         "Address\n"
                                      << rows;
    }

    testing::TemporaryFolder folder_;
};

TEST_F(MakerRegistryTest, TheLongestRegisteredBlockNamesTheMaker) {
    const MakerRegistry registry(folder_.path());
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"00:1b:21:12:34:56", "Intel Corporate"},
        {"00:50:c2:00:00:01", "Acme, \"Labs\""},
        {"70:b3:d5:ab:12:34", "Small Maker"},
        {"70:b3:d5:ac:12:34", "Medium Maker"},
        {"70:b3:d5:bc:12:34", "IEEE Registration Authority"},
        {"00:00:01:00:00:01", std::nullopt},
        {"02:1b:21:12:34:56", "locally administered"},
        {"da:a1:19:00:00:01", "locally administered"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(registry.makerOf(mac(text)), expected) << text;
    }
    EXPECT_EQ(registry.blockCount(), 5u);
}

TEST(MakerRegistry, AMissingFolderKnowsNoMakerButStillSpotsRandomisedAddresses) {
    const MakerRegistry registry("/nonexistent/corvane");
    EXPECT_EQ(registry.blockCount(), 0u);
    EXPECT_EQ(registry.makerOf(mac("00:1b:21:12:34:56")), std::nullopt);
    EXPECT_EQ(registry.makerOf(mac("06:00:00:00:00:01")), "locally administered");
}

TEST(MakerRegistry, TheSystemRegistryIsDebiansIeeeData) {
    if (!std::filesystem::exists(MakerRegistry::defaultFolder)) {
        GTEST_SKIP() << "ieee-data is not installed (scripts/install-deps.sh installs it)";
    }
    EXPECT_EQ(makerName(mac("00:1b:21:00:00:01")), "Intel Corporate");
}

} // namespace
} // namespace corvane
