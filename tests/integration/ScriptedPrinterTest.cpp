// The simulator's scripted printer: which request gets which scripted answer.
#include <gtest/gtest.h>

#include "ScriptedResponder.h"

namespace {

const std::string kMode("\xA5\x00\x10\x80\xA4\x5B\xA4\x5B\x10\xEF\xA4\x5B\x11\xEE\x00\xFF\x13\xEC\x2E", 19);
const std::string kConfiguration("\xA5\x00\x07\x50\xE0\x21\x01\x00\x00\x00", 10);
const std::string kOptions("\xA5\x00\x03\x50\x01\x04", 6);
const std::string kGermanSupplies("\xA5\x00\x08\x50\xE0\x21\x01\x00\x01\x01\x08", 11);

std::vector<std::string> respond(ScriptedResponder& printer, const std::string& request) {
    return printer.respond(NpaRequest::classify(request));
}

}  // namespace

// Each step answers the first request it fits, once; mode commands and requests nothing fits
// get silence; the printer is done once every step was played.
TEST(ScriptedPrinter, EachStepAnswersTheFirstRequestItFitsOnceAndTheRestGetSilence) {
    ScriptedResponder::Step options = ScriptedResponder::answer({"B"});
    options.anyRequest = false;
    options.kind = NpaRequest::kOptions;
    ScriptedResponder::Step german = ScriptedResponder::answer({"C1", "C2"});
    german.prefix = kGermanSupplies.substr(0, 9);
    ScriptedResponder printer({options, german, ScriptedResponder::answer({"A"})});
    EXPECT_TRUE(respond(printer, kMode).empty());
    EXPECT_EQ(respond(printer, kConfiguration), std::vector<std::string>{"A"});
    EXPECT_FALSE(printer.exhausted());
    EXPECT_EQ(respond(printer, kGermanSupplies), (std::vector<std::string>{"C1", "C2"}));
    EXPECT_EQ(respond(printer, kOptions), std::vector<std::string>{"B"});
    EXPECT_TRUE(printer.exhausted());
    EXPECT_TRUE(respond(printer, kConfiguration).empty());
    EXPECT_FALSE(ScriptedResponder({}, false).exhausted());
    EXPECT_EQ(ScriptedResponder::packet(0x20, 0xE0, "xy"), std::string("\xA5\x00\x04\x20\xE0xy", 7));
}
