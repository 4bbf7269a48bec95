// Runs the built filter on USB queues against a scripted printer behind the backend.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "FilterRun.h"
#include "NpaAnswerBuilder.h"
#include "helpers/NpaAnswerScripts.h"

namespace {

using e2e::FilterResult;
using Step = ScriptedResponder::Step;

using namespace npa_script;

// The answer that the printer |device| gives to |request|, in packets of at most 500 payload
// bytes (one 512-byte read each).
Step answerOf(const DeviceProfile& device, const std::string& request) {
    std::string whole, error;
    EXPECT_EQ(NpaAnswerBuilder(device).answer(NpaRequest::classify(request), whole, error), 0) << error;
    return ScriptedResponder::answer(NpaAnswerBuilder::packetize(whole, 500, false));
}

// The failure flag alone, as a printer answers a request it cannot serve.
Step failed(const std::string& request) { return ScriptedResponder::answer({NpaAnswerBuilder::failurePacket(request)}); }

// Supplies as (id, type, name, capacity, level), in code page 2009 (850).
DeviceProfile withSupplies(const std::vector<std::tuple<int, int, std::string, int, int>>& records) {
    DeviceProfile device;
    device.codePage = 2009;
    for (auto& [id, type, name, capacity, level] : records) {
        ProfileSupply supply;
        supply.id = id, supply.type = type, supply.name = name, supply.maxCapacity = capacity, supply.level = level;
        device.supplies.push_back(supply);
    }
    return device;
}

// The filter must exit 0 after sending |output| to the printer and |line| to stderr.
void expectRun(const FilterResult& result, const std::string& output, const std::string& line) {
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, output);
    EXPECT_EQ(result.errors, line);
}

}  // namespace

// Both requests go out whatever comes back; noise and failures leave options out, fast. What a
// full configuration gives shows in the recorded outputs.
TEST(UsbPath, AutoConfigureReportsTheInstalledOptionsAsOnePpdLine) {
    SKIP_WHILE_LOG_MARKER_EXISTS();
    DeviceProfile noDuplex, flash;
    noDuplex.duplex = ReportedState::kAbsent;
    flash.flash = ReportedState::kInstalled;
    struct Case {
        const char* name;
        std::vector<Step> answers;
        const char* line;
    };
    const std::vector<Case> cases = {
        // A failed option request leaves flash out of the line altogether.
        {"option request failed", {answerOf(noDuplex, kConfigurationRequest), failed(kOptionsRequest)},
         "PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultOptDuplex=NotInstalledM "
         "DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 \n"},
        {"configuration request failed", {failed(kConfigurationRequest), answerOf(flash, kOptionsRequest)}, "PPD: DefaultFlash=InstalledF \n"},
        {"back-channel closed", {}, ""},
        {"noise for both answers",
         {ScriptedResponder::answer({std::string("\x00\xA5\x00\x03\x00\xE0\x01", 7), "garbage"}),
          ScriptedResponder::answer({"\x13\x37"})},
         ""},
    };
    e2e::Scratch scratch;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FilterResult result = e2e::runScripted(scratch.file("AutoConfigure"), c.answers);
        expectRun(result, kAutoConfigureRequests, c.line);
        EXPECT_LT(result.seconds, 3.0);
    }
}

TEST(UsbPath, ReportLevelsAsksInTheUsersLanguageAndReportsConvertedSupplies) {
    SKIP_WHILE_LOG_MARKER_EXISTS();
    // Code page 850: 0x81 is u with diaeresis, 0x84 a with diaeresis. Supply id 42, type 8 and
    // type 0 are skipped; negative levels and capacities are special values.
    const DeviceProfile mixed = withSupplies(
        {{1, 3, "Toner Schwarz", 100, 40}, {48, 5, "Fixiereinheit f\x81r Papier", 150000, 90000},
         {112, 7, "Resttonerbeh\x84lter", 100, 30}, {42, 3, "Hidden", 100, 50}, {5, 8, "Unknown Type", 100, 50},
         {6, 0, "No Type", 100, 50}, {17, 4, "Bildtrommel Cyan", 0, 50}, {2, 1, "Cyan", 100, -3}, {3, 2, "Magenta", -2, 10}});
    e2e::Scratch scratch;
    expectRun(e2e::runScripted(scratch.file("ReportLevels"), {answerOf(mixed, supplyRequest(1).substr(19))},
                               {"LANG=de_DE.UTF-8"}),
              supplyRequest(1),
              "ATTR: marker-colors=#000000,#000000,#000000,#00FFFF,#00FFFF,#FF00FF marker-levels=40,60,70,0,-3,0 "
              "marker-names='\"Toner Schwarz\"','\"Fixiereinheit f\xC3\xBCr Papier\"','\"Resttonerbeh\xC3\xA4lter\"',"
              "'\"Bildtrommel Cyan\"','\"Cyan\"','\"Magenta\"' marker-types=toner,fuser,wasteToner,opc,toner,toner \n" +
                  e2e::kNoSupplyWarnings);  // an unmeasured drum at "0" and an unknown level warn of nothing
}
