// Runs the built filter on a USB queue against a scripted printer behind the backend's channels.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <random>
#include <string>
#include <vector>

#include "helpers/NpaAnswerBuilder.h"
#include "helpers/PrivateTmp.h"
#include "helpers/TestUtil.h"
#include "helpers/NpaAnswerScripts.h"
#include "helpers/ScriptedUsbPrinter.h"

namespace {

using cfftest::PrinterAnswer;
using cfftest::ScriptedUsbPrinter;
using cfftest::UsbFilterRun;
using E = NpaElement;

const std::string kMode("\xA5\x00\x10\x80\xA4\x5B\xA4\x5B\x10\xEF\xA4\x5B\x11\xEE\x00\xFF\x13\xEC\x2E", 19);
const std::string kRdc("\xA5\x00\x07\x50\xE0\x21\x01\x00\x00\x00", 10);
const std::string kRoc("\xA5\x00\x03\x50\x01\x04", 6);

// The supply request asking for language |language|.
std::string supplyRequest(char language) {
    return std::string("\xA5\x00\x08\x50\xE0\x21\x01\x00", 8) + language + std::string("\x01\x08", 2);
}

std::string text(const NpaBytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// An RDC answer holding |root|, echoing the request's byte 4, cut into packets of at most
// 500 payload bytes so that every packet fits one 512-byte back-channel read.
std::vector<std::string> rdcPackets(const NpaElement& root) {
    NpaBytes whole = NpaAnswerBuilder().build(root);
    NpaBytes payload(whole.begin() + 5, whole.end());
    std::vector<std::string> packets;
    for (size_t at = 0; at < payload.size(); at += 500) {
        NpaBytes chunk(payload.begin() + at, payload.begin() + std::min(payload.size(), at + 500));
        unsigned char flags = at + 500 < payload.size() ? 0x20 : 0x00;
        packets.push_back(text(npa_script::packet(flags, chunk, npa_script::kRdcEcho)));
    }
    return packets;
}

PrinterAnswer rdcAnswer(const NpaElement& root) { return {rdcPackets(root)}; }
PrinterAnswer roc(const std::string& pairs) { return {{text(rocAnswer(pairs))}}; }
PrinterAnswer failed() { return {{text(npa_script::packet(0x80, {0x00}))}}; }

supplyInfo_ supply(int id, int type, std::string name, int maxCapacity, int level) {
    supplyInfo_ record;
    record.supplyId = id;
    record.type = type;
    record.name = std::move(name);
    record.maxCapacity = maxCapacity;
    record.currentLevel = level;
    return record;
}

NpaElement supplyTree(int codePage, const std::vector<supplyInfo_>& records) {
    std::vector<NpaElement> entries;
    for (size_t i = 0; i < records.size(); ++i) {
        entries.push_back(rdc::supply(i + 1, records[i]));
    }
    return rdc::root({rdc::generalInfo(codePage), rdc::configuration({rdc::supplies(entries)})});
}

// A scratch directory holding the two command files.
class CommandFiles {
public:
    CommandFiles() {
        // Under the build tree: the filter runs with a /tmp of its own.
        std::string pattern = std::string(CFF_BINARY_DIR) + "/cff-usbpath-XXXXXX";
        dir_ = mkdtemp(pattern.data()) ? pattern : "";
        std::ofstream(autoConfigure()) << "AutoConfigure\n";
        std::ofstream(reportLevels()) << "ReportLevels\n";
    }
    ~CommandFiles() {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
    std::string autoConfigure() const { return dir_ + "/autoconfigure"; }
    std::string reportLevels() const { return dir_ + "/reportlevels"; }

private:
    std::string dir_;
};

// With the log marker /tmp/startlog present the filter names its log file on standard error,
// which these tests compare byte for byte; so the filter gets a private, empty /tmp.
#define SKIP_IF_LOGGING()                                                                         \
    if (!ScriptedUsbPrinter::privateTmpAvailable()) {                                             \
        GTEST_SKIP() << "no private mount namespace permitted, so a log marker in /tmp could "    \
                        "reach the filter and its standard error";                                \
    }

// Runs AutoConfigure against a printer giving |answers|: the filter must exit 0 after sending
// both requests and write exactly |line|; returns the run for further checks.
UsbFilterRun expectAutoConfigure(const std::vector<PrinterAnswer>& answers, const std::string& commandFile,
                                 const std::string& line) {
    UsbFilterRun run = ScriptedUsbPrinter(answers).run(CFF_FILTER_BINARY, commandFile);
    EXPECT_TRUE(run.ran);
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.output, kMode + kRdc + kMode + kRoc);
    EXPECT_EQ(run.errors, line);
    return run;
}

}  // namespace

TEST(UsbPath, AutoConfigureReportsTheInstalledOptionsAsOnePpdLine) {
    SKIP_IF_LOGGING();
    struct Case {
        const char* name;
        std::vector<PrinterAnswer> answers;
        const char* line;
    };
    const std::vector<Case> cases = {
        {"one tray, standard bin, no duplex unit, no flash",
         {rdcAnswer(rdc::root({rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "Tray 1")}),
                                             rdc::outputUnits({rdc::outputUnit(1, std::nullopt, "",
                                                                               {{1, "Standard Bin"}})}),
                                             rdc::duplex(0)})})),
          roc("RAM:128;")},
         "PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF "
         "DefaultOptDuplex=NotInstalledM DefaultOptOutputBins=StandardBin "
         "DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 \n"},
        // Tray 4 reports id 6 and tray 5 id 133: neither counts. Id 130 is the manual feeder.
        {"three trays, ids out of range, manual feeder, two finishers, duplex unit, flash",
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
        // No duplex leaf counts as installed; bin 16 is beyond the bins reported; an empty
        // option text means no flash.
        {"fifth tray only, bin 16 only, standard finisher, duplex unknown, empty option text",
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
        {"configuration request failed, flash reported",
         {failed(), roc("FLASH:1;")},
         "PPD: DefaultFlash=InstalledF \n"},
    };
    CommandFiles files;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectAutoConfigure(c.answers, files.autoConfigure(), c.line);
    }
}

TEST(UsbPath, ReportLevelsAsksInTheUsersLanguageAndReportsConvertedSupplies) {
    SKIP_IF_LOGGING();
    // Code page 2009 (CP850): 0x81 is u with diaeresis, 0x84 a with diaeresis.
    const std::vector<supplyInfo_> mixed = {
        supply(1, 3, "Toner Schwarz", 100, 40),
        supply(48, 5, "Fixiereinheit f\x81r Papier", 150000, 90000),
        supply(112, 7, "Resttonerbeh\x84lter", 100, 30),
        supply(42, 3, "Hidden", 100, 50),
        supply(5, 8, "Unknown Type", 100, 50),
        supply(6, 0, "No Type", 100, 50),
        supply(17, 4, "Bildtrommel Cyan", 0, 50),
        supply(2, 1, "Cyan", 100, -3),
        supply(3, 2, "Magenta", -2, 10),
    };
    const char* mixedLine =
        "ATTR: marker-colors=#000000,#000000,#000000,#00FFFF,#00FFFF,#FF00FF "
        "marker-levels=40,60,70,0,-3,0 "
        "marker-names='\"Toner Schwarz\"','\"Fixiereinheit f\xC3\xBCr Papier\"','\"Resttonerbeh\xC3\xA4lter\"',"
        "'\"Bildtrommel Cyan\"','\"Cyan\"','\"Magenta\"' "
        "marker-types=toner,fuser,wasteToner,opc,toner,toner \n";
    const PrinterAnswer simple = rdcAnswer(supplyTree(2009, {supply(1, 3, "Black", 100, 25)}));
    const char* simpleLine =
        "ATTR: marker-colors=#000000 marker-levels=25 marker-names='\"Black\"' marker-types=toner \n";
    const std::string fakeUname = std::string("LD_PRELOAD=") + CFF_FAKE_UNAME_LIBRARY;

    struct Case {
        const char* name;
        std::vector<std::string> environment;
        std::vector<PrinterAnswer> answers;
        std::string output;
        std::string line;
    };
    const std::vector<Case> cases = {
        {"German names in code page 850", {"LANG=de_DE.UTF-8"}, {rdcAnswer(supplyTree(2009, mixed))},
         kMode + supplyRequest(1), mixedLine},
        {"APPLE_LANG wins over LANG", {"LANG=de_DE.UTF-8", "APPLE_LANG=ja"}, {simple},
         kMode + supplyRequest(9), simpleLine},
        {"regional language", {"LANG=fr_CA.UTF-8"}, {simple}, kMode + supplyRequest(3), simpleLine},
        {"no language set", {}, {simple}, kMode + supplyRequest(0), simpleLine},
        {"language refused, asked again in English",
         {"LANG=de_DE.UTF-8"},
         {failed(), simple},
         kMode + supplyRequest(1) + kMode + supplyRequest(0),
         simpleLine},
        // A Darwin kernel of major release 12 keeps the waste-toner percentage as it is.
        {"waste toner on Darwin 12",
         {fakeUname, "CFF_FAKE_SYSNAME=Darwin", "CFF_FAKE_RELEASE=12.0.0"},
         {rdcAnswer(supplyTree(2009, {supply(112, 7, "Waste", 100, 30)}))},
         kMode + supplyRequest(0),
         "ATTR: marker-colors=#000000 marker-levels=30 marker-names='\"Waste\"' marker-types=wasteToner \n"},
        // Old Darwin kernels get the command loopback after the report.
        {"loopback on Darwin 10",
         {fakeUname, "CFF_FAKE_SYSNAME=Darwin", "CFF_FAKE_RELEASE=10.8.0"},
         {rdcAnswer(supplyTree(2009, {supply(112, 7, "Waste", 100, 30)}))},
         kMode + supplyRequest(0) + std::string("\xA5\x00\x06\x40\x03\x04\x20\x20\x20", 9),
         "ATTR: marker-colors=#000000 marker-levels=70 marker-names='\"Waste\"' marker-types=wasteToner \n"},
        {"only skipped supplies",
         {},
         {rdcAnswer(supplyTree(2009, {supply(42, 3, "Hidden", 100, 50), supply(7, 8, "Other", 100, 50)}))},
         kMode + supplyRequest(0),
         ""},
    };
    CommandFiles files;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedUsbPrinter::Options options;
        options.environment = c.environment;
        UsbFilterRun run = ScriptedUsbPrinter(c.answers, options).run(CFF_FILTER_BINARY, files.reportLevels());
        ASSERT_TRUE(run.ran);
        EXPECT_EQ(run.exitStatus, 0);
        EXPECT_EQ(run.output, c.output);
        EXPECT_EQ(run.errors, c.line);
    }
}

TEST(UsbPath, PrinterThatFailsToAnswerLeavesExitZeroAndOnlyWhatArrivedOnStderr) {
    SKIP_IF_LOGGING();
    CommandFiles files;
    const PrinterAnswer simple = rdcAnswer(supplyTree(2009, {supply(1, 3, "Black", 100, 25)}));
    const char* simpleLine =
        "ATTR: marker-colors=#000000 marker-levels=25 marker-names='\"Black\"' marker-types=toner \n";

    // The two slow runs wait out real back-channel time-outs (5 s per read attempt), side by side.
    ScriptedUsbPrinter::Options keepOpen;
    keepOpen.closeWhenAnswered = false;
    auto silent = std::async(std::launch::async, [&] {
        return ScriptedUsbPrinter({}, keepOpen).run(CFF_FILTER_BINARY, files.reportLevels());
    });
    PrinterAnswer late = simple;
    late.delayMs = 6000;
    auto slow = std::async(std::launch::async, [&] {
        return ScriptedUsbPrinter({late}, keepOpen).run(CFF_FILTER_BINARY, files.reportLevels());
    });

    struct Case {
        const char* name;
        std::vector<PrinterAnswer> answers;
        const char* line;
    };
    const std::vector<Case> cases = {
        {"back-channel closed", {}, ""},
        {"noise for both answers",
         {{{std::string("\x00\xA5\x00\x03\x00\xE0\x01", 7), std::string("garbage")}}, {{std::string("\x13\x37")}}},
         ""},
        {"noise, then a valid option answer", {{{std::string("\xA5\xA5\xA5\xA5\xA5\xA5")}}, roc("FLASH:1;")},
         "PPD: DefaultFlash=InstalledF \n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_LT(expectAutoConfigure(c.answers, files.autoConfigure(), c.line).seconds, 3.0);
    }

    // No answer at all: two attempts of 5 s, and no second request since nothing was read.
    UsbFilterRun silentRun = silent.get();
    ASSERT_TRUE(silentRun.ran);
    EXPECT_EQ(silentRun.exitStatus, 0);
    EXPECT_EQ(silentRun.output, kMode + supplyRequest(0));
    EXPECT_EQ(silentRun.errors, "");
    EXPECT_GE(silentRun.seconds, 9.5);
    EXPECT_LT(silentRun.seconds, 20.0);

    // An answer 6 s late misses the first attempt and is taken by the second.
    UsbFilterRun slowRun = slow.get();
    ASSERT_TRUE(slowRun.ran);
    EXPECT_EQ(slowRun.exitStatus, 0);
    EXPECT_EQ(slowRun.output, kMode + supplyRequest(0));
    EXPECT_EQ(slowRun.errors, simpleLine);
    EXPECT_GE(slowRun.seconds, 5.5);
}

TEST(UsbPath, RandomAndMutatedAnswersNeverBreakTheRun) {
    SKIP_IF_LOGGING();
    CommandFiles files;
    std::mt19937 random(7321);
    auto byte = [&random]() { return static_cast<char>(random() & 0xFF); };
    std::vector<supplyInfo_> supplies = {supply(1, 3, "Black", 100, 40), supply(112, 7, "Waste", 100, 30),
                                         supply(16, 4, "Drum", 20000, 1000)};
    const std::vector<std::vector<std::string>> seeds = {
        rdcPackets(rdc::root({rdc::configuration(
            {rdc::inputTrays({rdc::inputTray(1, 1, "Tray 1"), rdc::inputTray(2, 130, "Manual")}),
             rdc::outputUnits({rdc::outputUnit(1, 22, "Finisher", {{1, "Standard Bin"}, {2, "Bin 1"}})}),
             rdc::duplex(1)})})),
        rdcPackets(supplyTree(2009, supplies)),
        {text(rocAnswer("FLASH:1;RAM:64;"))},
    };
    // A mutated seed, a seed cut short, random bytes behind a start byte, or plain noise.
    auto answer = [&](size_t round) {
        PrinterAnswer made;
        const std::vector<std::string>& seed = seeds[random() % seeds.size()];
        switch (round % 4) {
            case 0:
                made.packets = seed;
                for (int flips = 1 + static_cast<int>(random() % 6); flips > 0; --flips) {
                    std::string& packet = made.packets[random() % made.packets.size()];
                    packet[random() % packet.size()] = byte();
                }
                break;
            case 1:
                made.packets = {seed[0].substr(0, random() % seed[0].size())};
                break;
            case 2: {
                std::string packet("\xA5", 1);
                for (size_t n = random() % 300; n > 0; --n) {
                    packet += n == 1 ? '\xE0' : byte();
                }
                made.packets = {packet, packet.substr(0, random() % (packet.size() + 1))};
                break;
            }
            default:
                made.packets = {std::string(1 + random() % 64, '\0')};
                for (char& c : made.packets[0]) {
                    c = byte();
                }
        }
        return made;
    };
    for (size_t round = 0; round < 40; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        bool options = round % 2 == 0;
        // As many answers as the command asks for; a further request (a retry) finds the
        // back-channel closed.
        std::vector<PrinterAnswer> answers = {answer(round)};
        if (options) {
            answers.push_back(answer(round + 1));
        }
        UsbFilterRun run = ScriptedUsbPrinter(answers).run(CFF_FILTER_BINARY, options ? files.autoConfigure() : files.reportLevels());
        ASSERT_TRUE(run.ran);
        EXPECT_EQ(run.signal, 0);
        EXPECT_EQ(run.exitStatus, 0);
        EXPECT_LT(run.seconds, 5.0);
        if (!run.errors.empty()) {
            EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1) << run.errors;
            EXPECT_EQ(run.errors.rfind(options ? "PPD: " : "ATTR: ", 0), 0u) << run.errors;
            EXPECT_EQ(run.errors.substr(run.errors.size() - 2), " \n");
        }
    }
}

#ifdef CFFSIM_BINARY
namespace {

// Runs the filter under "cffsim run-filter", which relays the filter's stderr to its stdout.
std::string runUnderSimulator(const std::string& environment, const std::string& options,
                              const std::string& profile, const std::string& commandFile) {
    std::string command = "unshare --mount --propagation private sh -c '" + cfftest::privateTmpShell() + "exec \"$0\" \"$@\"' "
                          "env -i PATH=/usr/bin:/bin" + cfftest::sanitizerEnvironmentWords() + " " + environment + " " + CFFSIM_BINARY + " run-filter " +
                          options + " " + CFF_SOURCE_DIR + "/tools/simulator/profiles/" + profile + ".yaml -- " +
                          CFF_FILTER_BINARY + " 42 maintenance commands 1 '' " + commandFile + " 2>/dev/null";
    std::string relayed;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return "(not run)";
    }
    char buffer[1024];
    size_t got;
    while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
        relayed.append(buffer, got);
    }
    int status = pclose(pipe);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
    return relayed;
}

}  // namespace

TEST(UsbPath, BundledSimulatorProfilesGiveTheirLines) {
    SKIP_IF_LOGGING();
    CommandFiles files;
    struct Case {
        const char* name;
        std::string environment;
        std::string options;
        std::string profile;
        std::string commandFile;
        std::string line;
    };
    const std::vector<Case> cases = {
        {"basic options", "", "", "basic-mono", files.autoConfigure(),
         "PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF "
         "DefaultOptDuplex=NotInstalledM DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM "
         "DefaultTrays=Tray1 \n"},
        {"basic supplies", "LANG=en_US.UTF-8", "", "basic-mono", files.reportLevels(),
         "ATTR: marker-colors=#000000,#000000 marker-levels=40,75 marker-names='\"Black Toner\"','\"Drum\"' "
         "marker-types=toner,opc \n"},
        {"equipped options", "", "", "color-finisher", files.autoConfigure(),
         "PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
         "DefaultOptOutputBins=OBin3 DefaultOutputFinisher=AdvancedFinisher DefaultTrays=Tray1234 \n"},
        {"German supplies from code page 850", "LANG=de_DE.UTF-8", "", "color-finisher", files.reportLevels(),
         "ATTR: marker-colors=#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#000000 "
         "marker-levels=80,55,30,5,75,50,25,100,60,75 "
         "marker-names='\"Toner Schwarz\"','\"Toner Cyan\"','\"Toner Magenta\"','\"Toner Gelb\"',"
         "'\"Bildtrommel Schwarz\"','\"Bildtrommel Cyan\"','\"Bildtrommel Magenta\"','\"Bildtrommel Gelb\"',"
         "'\"Fixiereinheit f\xC3\xBCr Papier\"','\"Resttonerbeh\xC3\xA4lter\"' "
         "marker-types=toner,toner,toner,toner,opc,opc,opc,opc,fuser,wasteToner \n"},
        // Japanese is refused with the failure flag; the second request, in English, succeeds.
        {"refused language falls back to English", "LANG=ja_JP.UTF-8", "", "color-finisher",
         files.reportLevels(),
         "ATTR: marker-colors=#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#00FFFF,#FF00FF,#FFFF00,#000000,#000000 "
         "marker-levels=80,55,30,5,75,50,25,100,60,75 "
         "marker-names='\"Black Toner\"','\"Cyan Toner\"','\"Magenta Toner\"','\"Yellow Toner\"',"
         "'\"Black Drum\"','\"Cyan Drum\"','\"Magenta Drum\"','\"Yellow Drum\"',"
         "'\"Fuser Unit (220 V \xC2\xB1" "10 %)\"','\"Waste Toner Box\"' "
         "marker-types=toner,toner,toner,toner,opc,opc,opc,opc,fuser,wasteToner \n"},
        {"every request failed", "", "--fail", "color-finisher", files.autoConfigure(), ""},
        // Empty trees and an empty option text: every fact takes its "nothing reported" value.
        {"silent printer", "", "", "silent", files.autoConfigure(),
         "PPD: DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF DefaultOptDuplex=InstalledM DefaultOptOutputBins=StandardBin "
         "DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray1 \n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(runUnderSimulator(c.environment, c.options, c.profile, c.commandFile), c.line);
    }
}
#endif
