// The printer simulator's profiles: what a mistake in one is reported as. How its printer
// answers shows in the filter's runs against it and in the recorded outputs.
#include <gtest/gtest.h>

#include "ProfileLoader.h"

TEST(SimulatorProfile, MistakesAreReportedWithLineAndReasonAndHexNamesAreKept) {
    const std::pair<std::string, const char*> cases[] = {
        {"code_page: 2009\n", "inline:1: the key \"model\" is missing"},
        {"model: X\ntray:\n  - {id: 1}\n", "inline:2: unknown key \"tray\" in profile"},
        {"model: X\nduplex: maybe\n", "inline:2: duplex must be installed, absent or not-reported"},
        {"model: X\nsupplies:\n  - {id: 1, type: 3, max: 100, level: 5}\n", "inline:3: a supply has no name"},
        {"model: X\nsupplies:\n  - {id: 1, type: 3, max: 1, level: 1, name_hex: \"4G\"}\n", "not a hexadecimal digit"},
        {"model: X\ntrays:\n  - {id: 7}\n", "inline:3: the entry of trays with id 7 needs a name"},
        {"model: X\ncode_page: 2009\nbins:\n  - {id: 1, name: \"Лоток\"}\n", "cannot be written in CP850"},
        {"model: X\nbins: [{id: 1, name: " + std::string(130, 'x') + "}]\n", "limited to 127 bytes"},
        {"model: X\ncode_page: 999\n", "inline:2: code page 999 is not one the simulator knows"},
        {"model: [unclosed\n", "inline:"},
    };
    DeviceProfile profile;
    std::string error;
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(-1, ProfileLoader::loadText(text, "inline", profile, error)) << text;
        EXPECT_NE(std::string::npos, error.find(expected)) << "got: " << error;
    }
    EXPECT_EQ(-1, ProfileLoader::loadFile("/nonexistent/profile.yaml", profile, error));
    EXPECT_EQ("/nonexistent/profile.yaml: cannot be opened: No such file or directory", error);
    // Supply names given as hex are sent as they are.
    ASSERT_EQ(0, ProfileLoader::loadText("model: X\ncode_page: 2009\nsupplies:\n"
                                         "  - {id: 1, type: 3, max: 1, level: 1, name_hex: \"4b 00 E9\"}\n",
                                         "inline", profile, error)) << error;
    EXPECT_EQ(std::string("K\0\xE9", 3), profile.supplies.at(0).name);
}
