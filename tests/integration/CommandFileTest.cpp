// Which printer commands of a command file the filter carries out, against the simulator's printer.
#include <gtest/gtest.h>

#include "FilterRun.h"

namespace {

const std::string kMode("\xA5\x00\x10\x80\xA4\x5B\xA4\x5B\x10\xEF\xA4\x5B\x11\xEE\x00\xFF\x13\xEC\x2E", 19);
const std::string kAutoConfigure =
    kMode + std::string("\xA5\x00\x07\x50\xE0\x21\x01\x00\x00\x00", 10) + kMode + std::string("\xA5\x00\x03\x50\x01\x04", 6);
const std::string kReportLevels = kMode + std::string("\xA5\x00\x08\x50\xE0\x21\x01\x00\x00\x01\x08", 11);

}  // namespace

// Words are matched without regard to case; a self-test page is skipped; an unknown word ends
// the run, so nothing after it is carried out. A supply report is followed by its state line.
TEST(CommandFile, WordsRunInOrderRegardlessOfCaseAndAnUnknownWordEndsTheRun) {
    SKIP_WHILE_LOG_MARKER_EXISTS();
    e2e::Scratch scratch;
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"reportlevels\nAUTOCONFIGURE\n", kReportLevels + kAutoConfigure, "ATTR: STATE: PPD: "},
        {"PrintSelfTestPage\nReportLevels\n", kReportLevels, "ATTR: STATE: "},
        {"AutoConfigure\nCleanHeads\nReportLevels\n", kAutoConfigure, "PPD: "},
        {"# a comment\n\nReportLevels\n", kReportLevels, "ATTR: STATE: "},
        {"", "", ""},
    };
    for (const auto& [commands, requests, prefixes] : cases) {
        SCOPED_TRACE(commands);
        e2e::writeFile(scratch.file("commands"), commands);
        e2e::FilterResult run = e2e::runUnderSimulator("basic-mono", scratch.file("commands"));
        EXPECT_EQ(run.exitStatus, 0);
        EXPECT_EQ(run.output, requests);
        // The result lines of the commands carried out, in order.
        std::string seen;
        for (size_t at = 0; at < run.errors.size(); at = run.errors.find('\n', at) + 1) {
            seen += run.errors.substr(at, run.errors.find(' ', at) - at + 1);
            if (run.errors.find('\n', at) == std::string::npos) break;
        }
        EXPECT_EQ(seen, prefixes) << run.errors;
    }
}
