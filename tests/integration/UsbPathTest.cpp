// Runs the built filter on USB queues: against a scripted printer behind the backend, and under the simulator.
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <tuple>
#include <vector>

#include "FilterRun.h"
#include "helpers/NpaAnswerBuilder.h"
#include "helpers/NpaAnswerScripts.h"

namespace {

using e2e::PrinterAnswer;
using e2e::UsbFilterRun;

const std::string kMode("\xA5\x00\x10\x80\xA4\x5B\xA4\x5B\x10\xEF\xA4\x5B\x11\xEE\x00\xFF\x13\xEC\x2E", 19);
const std::string kAutoConfigureRequests = kMode + std::string("\xA5\x00\x07\x50\xE0\x21\x01\x00\x00\x00", 10) + kMode +
                                           std::string("\xA5\x00\x03\x50\x01\x04", 6);
const std::string kBlackLine =
    "ATTR: marker-colors=#000000 marker-levels=25 marker-names='\"Black\"' marker-types=toner \n" + e2e::kNoSupplyWarnings;

// The supply request asking for language |language|.
std::string supplyRequest(char language) {
    return kMode + std::string("\xA5\x00\x08\x50\xE0\x21\x01\x00", 8) + language + std::string("\x01\x08", 2);
}

std::string text(const NpaBytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// An RDC answer holding |root| in packets of at most 500 payload bytes (one 512-byte read each).
PrinterAnswer rdcAnswer(const NpaElement& root) {
    NpaBytes whole = NpaAnswerBuilder().build(root);
    PrinterAnswer answer;
    for (size_t at = 5; at < whole.size(); at += 500) {
        size_t end = std::min(whole.size(), at + 500);
        NpaBytes chunk(whole.begin() + at, whole.begin() + end);
        answer.packets.push_back(text(npa_script::packet(end < whole.size() ? 0x20 : 0x00, chunk)));
    }
    return answer;
}

PrinterAnswer roc(const std::string& pairs) { return {{text(rocAnswer(pairs))}}; }
PrinterAnswer failed() { return {{text(npa_script::packet(0x80, {0x00}))}}; }

// Supplies as (id, type, name, capacity, level), in code page 2009.
PrinterAnswer supplyAnswer(const std::vector<std::tuple<int, int, std::string, int, int>>& records) {
    std::vector<NpaElement> entries;
    for (auto& [id, type, name, capacity, level] : records) {
        supplyInfo_ s;
        s.supplyId = id, s.type = type, s.name = name, s.maxCapacity = capacity, s.currentLevel = level;
        entries.push_back(rdc::supply(entries.size() + 1, s));
    }
    return rdcAnswer(rdc::root({rdc::generalInfo(2009), rdc::configuration({rdc::supplies(entries)})}));
}

UsbFilterRun run(const e2e::Scratch& scratch, const std::string& command, std::vector<PrinterAnswer> answers,
                 std::vector<std::string> environment = {}, bool closeWhenAnswered = true) {
    e2e::ScriptedUsbPrinter printer;
    printer.answers = std::move(answers);
    printer.environment = std::move(environment);
    printer.closeWhenAnswered = closeWhenAnswered;
    return printer.run(CFF_FILTER_BINARY, scratch.file(command));
}

// The filter must exit 0 after sending |output| to the printer and |line| to stderr.
void expectRun(const UsbFilterRun& result, const std::string& output, const std::string& line) {
    ASSERT_TRUE(result.ran);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, output);
    EXPECT_EQ(result.errors, line);
}

}  // namespace

// Both requests go out whatever comes back; noise and failures leave options out, fast.
TEST(UsbPath, AutoConfigureReportsTheInstalledOptionsAsOnePpdLine) {
    SKIP_WITHOUT_PRIVATE_TMP();
    struct Case {
        const char* name;
        std::vector<PrinterAnswer> answers;
        const char* line;
    };
    const std::vector<Case> cases = {
        // Trays with ids 6 and 133 do not count; id 130 is the manual feeder; FLASH:0 is still flash.
        {"equipped",
         {rdcAnswer(rdc::root({rdc::configuration(
              {rdc::inputTrays({rdc::inputTray(1, 1, "Tray 1"), rdc::inputTray(2, 2, "Tray 2"),
                                rdc::inputTray(3, 3, "Tray 3"), rdc::inputTray(4, 6, "Tray 6"),
                                rdc::inputTray(5, 133, "Tray 133"), rdc::inputTray(6, 130, "Manual")}),
               rdc::outputUnits({rdc::outputUnit(1, std::nullopt, "", {{1, "Standard Bin"}, {3, "Bin 2"}}),
                                 rdc::outputUnit(2, 12, "Finisher Unit", {{2, "Bin 1"}}),
                                 rdc::outputUnit(3, 22, "Booklet Finisher Unit", {})}),
               rdc::duplex(1)})})),
          roc("FLASH:0;RAM:256;")},
         "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
         "DefaultOptOutputBins=OBin2 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray123 \n"},
        // No duplex leaf counts as installed; bin 16 lies beyond the bins; empty option text: no flash.
        {"fifth tray, bin 16, standard finisher, duplex unknown, empty option text",
         {rdcAnswer(rdc::root({rdc::configuration(
              {rdc::inputTrays({rdc::inputTray(1, 5, "Tray 5")}),
               rdc::outputUnits({rdc::outputUnit(1, 12, "Finisher Unit", {{16, "Bin 15"}})})})})),
          roc("")},
         "PPD: DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM "
         "DefaultOutputFinisher=StandardFinisher DefaultTrays=Tray12345 \n"},
        // A failed option request leaves flash out of the line altogether.
        {"empty configuration, option request failed",
         {rdcAnswer(rdc::root({rdc::configuration({rdc::duplex(0)})})), failed()},
         "PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultOptDuplex=NotInstalledM "
         "DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 \n"},
        {"configuration request failed", {failed(), roc("FLASH:1;")}, "PPD: DefaultFlash=InstalledF \n"},
        {"back-channel closed", {}, ""},
        {"noise for both answers",
         {{{std::string("\x00\xA5\x00\x03\x00\xE0\x01", 7), std::string("garbage")}}, {{std::string("\x13\x37")}}}, ""},
        {"noise, then a valid option answer", {{{std::string("\xA5\xA5\xA5\xA5\xA5\xA5")}}, roc("FLASH:1;")},
         "PPD: DefaultFlash=InstalledF \n"},
    };
    e2e::Scratch scratch;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        UsbFilterRun result = run(scratch, "AutoConfigure", c.answers);
        expectRun(result, kAutoConfigureRequests, c.line);
        EXPECT_LT(result.seconds, 3.0);
    }
}

TEST(UsbPath, ReportLevelsAsksInTheUsersLanguageAndReportsConvertedSupplies) {
    SKIP_WITHOUT_PRIVATE_TMP();
    // Code page 850: 0x81 is u with diaeresis, 0x84 a with diaeresis. Supply id 42, type 8 and
    // type 0 are skipped; negative levels and capacities are special values.
    const PrinterAnswer mixed = supplyAnswer(
        {{1, 3, "Toner Schwarz", 100, 40}, {48, 5, "Fixiereinheit f\x81r Papier", 150000, 90000},
         {112, 7, "Resttonerbeh\x84lter", 100, 30}, {42, 3, "Hidden", 100, 50}, {5, 8, "Unknown Type", 100, 50},
         {6, 0, "No Type", 100, 50}, {17, 4, "Bildtrommel Cyan", 0, 50}, {2, 1, "Cyan", 100, -3}, {3, 2, "Magenta", -2, 10}});
    struct Case {
        const char* name;
        std::vector<std::string> environment;
        std::vector<PrinterAnswer> answers;
        std::string output, line;
    };
    const std::vector<Case> cases = {
        {"German names in code page 850", {"LANG=de_DE.UTF-8"}, {mixed}, supplyRequest(1),
         "ATTR: marker-colors=#000000,#000000,#000000,#00FFFF,#00FFFF,#FF00FF marker-levels=40,60,70,0,-3,0 "
         "marker-names='\"Toner Schwarz\"','\"Fixiereinheit f\xC3\xBCr Papier\"','\"Resttonerbeh\xC3\xA4lter\"',"
         "'\"Bildtrommel Cyan\"','\"Cyan\"','\"Magenta\"' marker-types=toner,fuser,wasteToner,opc,toner,toner \n" +
             e2e::kNoSupplyWarnings},  // an unmeasured drum at "0" and an unknown level warn of nothing
        {"only skipped supplies", {}, {supplyAnswer({{42, 3, "Hidden", 100, 50}})}, supplyRequest(0), ""},
    };
    e2e::Scratch scratch;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectRun(run(scratch, "ReportLevels", c.answers, c.environment), c.output, c.line);
    }
}

// A silent printer costs two read attempts of 5 s, and no second request since nothing was
// read; an answer 6 s late misses the first attempt and is taken by the second.
TEST(UsbPath, PrinterThatFailsToAnswerLeavesExitZeroAndOnlyWhatArrivedOnStderr) {
    SKIP_WITHOUT_PRIVATE_TMP();
    e2e::Scratch scratch;
    PrinterAnswer late = supplyAnswer({{1, 3, "Black", 100, 25}});
    late.delayMs = 6000;
    auto silent = std::async(std::launch::async, [&] { return run(scratch, "ReportLevels", {}, {}, false); });
    UsbFilterRun answered = run(scratch, "ReportLevels", {late}, {}, false), unanswered = silent.get();
    expectRun(answered, supplyRequest(0), kBlackLine);
    expectRun(unanswered, supplyRequest(0), "");
    EXPECT_GE(answered.seconds, 5.5);
    EXPECT_GE(unanswered.seconds, 9.5);
    EXPECT_LT(std::max(answered.seconds, unanswered.seconds), 20.0);
}

// The filter under "cffsim run-filter": simulator and filter agree over either channel.
TEST(SimulatorRun, ProfilesGiveTheirLinesOverEitherChannel) {
    SKIP_WITHOUT_PRIVATE_TMP();
    e2e::Scratch scratch;
    const std::string wide = scratch.file("wide.yaml");
    e2e::writeFile(wide, "model: X\ncode_page: 2009\ntrays: [{id: 2}]\nsupplies: [{id: 1, type: 3, name: K, max: 100, "
                         "level: -3}]\ncontainer: {id_width: 2, count_width: 2, container_length_width: 4, "
                         "leaf_length_width: 1}\n");
    std::string darwin14 = "DEVICE_URI=socket://127.0.0.1:9100";
    for (const std::string& entry : e2e::host("Darwin", "14.0.0")) darwin14 += " " + entry;
    struct Case {
        std::string environment, options, profile, command, line;
    };
    const Case cases[] = {
        {"", "", "color-finisher", "ReportLevels", e2e::colorFinisherLine()},
        // A Darwin 14 host on a network queue walks the MIB tables through the backend's side channel.
        {darwin14, "", "color-finisher", "ReportLevels", e2e::colorFinisherLine()},
        {"", "--fail", "color-finisher", "AutoConfigure", ""},
        // Wider fields in every element, and a negative level as a 32-bit value.
        {"", "", wide, "AutoConfigure",
         "PPD: DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM "
         "DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray12 \n"},
        {"", "", wide, "ReportLevels",
         "ATTR: marker-colors=#000000 marker-levels=-3 marker-names='\"K\"' marker-types=toner \n" +
             e2e::kNoSupplyWarnings},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.environment + " " + c.options + " " + c.profile + " " + c.command);
        EXPECT_EQ(e2e::runUnderSimulator(c.environment, c.options, c.profile, scratch.file(c.command)), c.line);
    }
}
