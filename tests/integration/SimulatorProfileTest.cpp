// Tests of the simulator's profile loading: the bundled profiles and the errors it reports.
#include <gtest/gtest.h>

#include "ProfileLoader.h"
#include "SimulatorDecoding.h"

namespace {

using simtest::load;

TEST(SimulatorProfile, BundledProfilesLoadWithTheirHardware) {
    DeviceProfile mono = load("basic-mono"), color = load("color-finisher"), silent = load("silent");

    EXPECT_EQ(1u, mono.inputs.size());
    EXPECT_EQ(ReportedState::kAbsent, mono.duplex);
    EXPECT_EQ(2u, mono.supplies.size());

    EXPECT_EQ(2009, color.codePage);
    EXPECT_EQ("CP850", color.encoding);
    ASSERT_EQ(5u, color.inputs.size());
    EXPECT_EQ(130, color.inputs[4].id);
    EXPECT_EQ("Feeder", color.inputs[4].snmpName);
    EXPECT_EQ("Tray 3", color.inputs[2].snmpName);
    ASSERT_EQ(1u, color.finishers.size());
    EXPECT_EQ(22, color.finishers[0].id);
    EXPECT_EQ(ReportedState::kInstalled, color.duplex);
    EXPECT_EQ(ReportedState::kInstalled, color.flash);
    EXPECT_FALSE(color.acceptsLanguage(9));
    EXPECT_TRUE(color.acceptsLanguage(1));

    EXPECT_TRUE(silent.inputs.empty());
    EXPECT_TRUE(silent.supplies.empty());
    EXPECT_EQ(0, silent.codePage);
    EXPECT_FALSE(silent.snmpDerive);
}

TEST(SimulatorProfile, TextsAreStoredInTheReportedCodePage) {
    DeviceProfile color = load("color-finisher");
    ASSERT_EQ(10u, color.supplies.size());
    const ProfileSupply& fuser = color.supplies[8];
    // "für" and "±" in code page 850.
    EXPECT_EQ("Fixiereinheit f\x81r Papier", DeviceProfile::supplyName(fuser, 1));
    EXPECT_NE(std::string::npos, fuser.name.find('\xF1'));
    EXPECT_EQ("R\x82" "cup\x82rateur de toner", DeviceProfile::supplyName(color.supplies[9], 2));
    // A language without its own name falls back to the default one.
    EXPECT_EQ(fuser.name, DeviceProfile::supplyName(fuser, 5));

    DeviceProfile utf8 = simtest::loadText("model: X\ncode_page: 106\ntrays: [{id: 1, name: \"Fach für A4\"}]\n");
    EXPECT_EQ("Fach f\xC3\xBCr A4", utf8.inputs[0].name);
}

TEST(SimulatorProfile, SnmpValuesKeepTheirKind) {
    DeviceProfile profile;
    std::string error;
    ASSERT_EQ(0, ProfileLoader::loadText("model: X\nsnmp:\n  values:\n"
                                         "    .1.3.6.1.2.1.1.5.0: \"42\"\n"
                                         "    1.3.6.1.2.1.1.6.0: 42\n"
                                         "    .1.3.6.1.2.1.1.3.0: {counter: 4294967295}\n",
                                         "inline", profile, error))
        << error;
    EXPECT_EQ(ProfileSnmpValue::kString, profile.snmpValues[".1.3.6.1.2.1.1.5.0"].kind);
    EXPECT_EQ(ProfileSnmpValue::kInteger, profile.snmpValues[".1.3.6.1.2.1.1.6.0"].kind);
    EXPECT_EQ(ProfileSnmpValue::kCounter, profile.snmpValues[".1.3.6.1.2.1.1.3.0"].kind);
    EXPECT_EQ(4294967295L, profile.snmpValues[".1.3.6.1.2.1.1.3.0"].number);
}

TEST(SimulatorProfile, MistakesAreReportedWithLineAndReason) {
    struct Case {
        const char *text, *expected;
    };
    const Case cases[] = {
        {"code_page: 2009\n", "inline:1: the key \"model\" is missing"},
        {"model: X\ntray:\n  - {id: 1}\n", "inline:2: unknown key \"tray\" in profile"},
        {"model: X\nduplex: maybe\n", "inline:2: duplex must be installed, absent or not-reported"},
        {"model: X\nsupplies:\n  - {id: 1, type: 3, max: 100, level: 5}\n", "inline:3: a supply has no name"},
        {"model: X\ntrays:\n  - {id: x}\n", "inline:3: trays id must be a whole number, not \"x\""},
        {"model: X\ntrays:\n  - {id: 300}\n", "trays id must lie between 0 and 255, not 300"},
        {"model: X\ntrays:\n  - {id: 7}\n", "inline:3: the entry of trays with id 7 needs a name"},
        {"model: X\ncode_page: 2009\nbins:\n  - {id: 1, name: \"Лоток\"}\n", "cannot be written in CP850"},
        {"model: X\ncode_page: 999\n", "inline:2: code page 999 is not one the simulator knows"},
        {"model: X\nencoding: NO-SUCH-CHARSET\n", "is not known to iconv"},
        {"model: X\nsnmp:\n  values:\n    abc: 1\n", "inline:4: \"abc\" is not a dotted object identifier"},
        {"model: X\nsnmp: {unknown_oids: silent}\n", "unknown_oids must be empty-string or standard"},
        {"model: [unclosed\n", "inline:"},
    };
    for (const Case& c : cases) {
        DeviceProfile profile;
        std::string error;
        EXPECT_EQ(-1, ProfileLoader::loadText(c.text, "inline", profile, error)) << c.text;
        EXPECT_NE(std::string::npos, error.find(c.expected)) << "got: " << error;
    }

    DeviceProfile profile;
    std::string longName(130, 'x');
    std::string error;
    EXPECT_EQ(-1, ProfileLoader::loadText("model: X\nbins: [{id: 1, name: " + longName + "}]\n", "inline", profile, error));
    EXPECT_NE(std::string::npos, error.find("limited to 127 bytes")) << error;

    EXPECT_EQ(-1, ProfileLoader::loadFile("/nonexistent/profile.yaml", profile, error));
    EXPECT_EQ("/nonexistent/profile.yaml: cannot be opened", error);
}

}  // namespace
