// Which printer commands of a command file the filter carries out, against the simulator's printer.
#include <gtest/gtest.h>

#include "FilterRun.h"
#include "helpers/NpaAnswerScripts.h"

using npa_script::kAutoConfigureRequests;
using npa_script::supplyRequest;

// Words are matched without regard to case; a self-test page is skipped; an unknown word ends
// the run, so nothing after it is carried out. A supply report is followed by its state line.
TEST(CommandFile, WordsRunInOrderRegardlessOfCaseAndAnUnknownWordEndsTheRun) {
    SKIP_WHILE_LOG_MARKER_EXISTS();
    e2e::Scratch scratch;
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"reportlevels\nAUTOCONFIGURE\n", supplyRequest(0) + kAutoConfigureRequests, "ATTR: STATE: PPD: "},
        {"PrintSelfTestPage\nReportLevels\n", supplyRequest(0), "ATTR: STATE: "},
        {"AutoConfigure\nCleanHeads\nReportLevels\n", kAutoConfigureRequests, "PPD: "},
        {"# a comment\n\nReportLevels\n", supplyRequest(0), "ATTR: STATE: "},
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
