// Tests of the mapping from the device model to PPD keywords and marker attributes, and of
// the writers that put them out as a spooler line or into a PPD file.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <tuple>

#include "helpers/StubParser.h"
#include "ppd/PPDFileModifier.h"
#include "ppd/PPDParser.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/WriterFactory.h"
#include "ppd/WriterSTDERR.h"
#include "ppd/WriterSTDOUT.h"

namespace {

using OptionMap = std::map<int, std::string>;

PPDKeywordMap create(RequestType type, Parser* parser, int expectedResult) {
    PPDKeywordMap keywords;
    EXPECT_EQ(PPDParser().createData(type, parser, keywords), expectedResult);
    return keywords;
}

supplyInfo_ record(int id, const char* name, int type, int maximum, int level) {
    supplyInfo_ s;
    std::tie(s.supplyId, s.name, s.type, s.maxCapacity, s.currentLevel) = std::make_tuple(id, name, type, maximum, level);
    return s;
}

// Captures what a writer's stream writes.
struct Capture {
    FILE* file = std::tmpfile();
    ~Capture() { std::fclose(file); }
    std::string text() {
        std::string out(4096, '\0');
        std::rewind(file);
        out.resize(std::fread(out.data(), 1, out.size(), file));
        return out;
    }
};

}  // namespace

TEST(PPDOptions, TraysBinsAndFinishersOutOfRange) {
    StubParser parser(0);
    std::tie(parser.manualFeeder, parser.duplex, parser.flash) = std::make_tuple(-1, 1, 1);
    auto mapped = [&parser](int result) {
        PPDKeywordMap keywords = create(REQ_INSTALLABLE_OPTIONS, &parser, result);
        keywords.erase("DefaultOptDuplex");
        keywords.erase("DefaultFlash");
        return keywords;
    };
    std::tie(parser.trays, parser.bins, parser.finishers) =
        std::make_tuple(OptionMap{{129, ""}, {130, ""}}, OptionMap{{16, ""}}, OptionMap{{5, ""}});
    EXPECT_EQ(mapped(-1), PPDKeywordMap());  // nothing in range: the request fails
    parser.trays = {{2, ""}};
    parser.finishers = {{12, ""}};  // the bins fail, but the finishers decide
    EXPECT_EQ(mapped(0), (PPDKeywordMap{{"DefaultTrays", "Tray12"}, {"DefaultOutputFinisher", "StandardFinisher"}}));
}

// States 0 and 1 show in every whole-program run; here the unknown and the invalid ones.
TEST(PPDOptions, UnknownAndInvalidStatesOfDuplexFlashAndManualFeeder) {
    PPDParser mapper;
    PPDKeywordMap duplex, flash, feeder, invalid;
    EXPECT_EQ(mapper.setDuplexerOption(-1, duplex), 0);
    EXPECT_EQ(mapper.setFlashOption(-1, flash), 0);
    EXPECT_EQ(mapper.setManualFeederOption(-1, feeder), -1);
    EXPECT_EQ(duplex, (PPDKeywordMap{{"DefaultOptDuplex", "InstalledM"}}));  // counts as installed
    EXPECT_EQ(flash, (PPDKeywordMap{{"DefaultFlash", "NotInstalledF"}}));    // counts as not installed
    EXPECT_EQ(mapper.setDuplexerOption(7, invalid) + mapper.setFlashOption(7, invalid) +
                  mapper.setManualFeederOption(7, invalid),
              -3);
    EXPECT_TRUE(feeder.empty() && invalid.empty());
}

TEST(PPDOptions, UnavailableFactsOrUnknownRequestsWriteNothing) {
    StubParser parser;
    EXPECT_TRUE(create(REQ_INSTALLABLE_OPTIONS, &parser, -1).empty());
    EXPECT_TRUE(create(REQ_INSTALLABLE_OPTIONS, nullptr, -1).empty());
    EXPECT_TRUE(create(REQ_DUPLEX_OPTIONS, &parser, 0).empty());
    EXPECT_TRUE(create(static_cast<RequestType>(3), &parser, -1).empty());
}

TEST(PPDSupplies, ReportsTheFourMarkerAttributesInThirtyTwoBitArithmetic) {
    std::vector<supplyInfo_> records = {record(1, "Black Toner", 1, 100, 40), record(42, "Hidden", 1, 100, 1),
                                        record(2, "Big", 5, 40000000, 30000000), record(3, "Other", 0, 100, 1)};
    StubParser parser(0);
    for (supplyInfo_& r : records) parser.supplies.push_back(&r);
    PPDKeywordMap keywords = create(REQ_SUPPLY_LEVELS, &parser, 0);
    EXPECT_EQ(keywords["marker-names"], "'\"Black Toner\"','\"Big\"'");
    // 30000000 * 100 wraps: -1294967296 / 40000000 = -32.
    EXPECT_EQ(keywords["marker-levels"], "40,-32");
    EXPECT_EQ(keywords["marker-types"], "toner,fuser");
    EXPECT_EQ(keywords["marker-colors"], "#000000,#00FFFF");

    // Nothing to report: no supplies, or only hidden and untyped ones.
    parser.supplies.clear();
    EXPECT_TRUE(create(REQ_SUPPLY_LEVELS, &parser, -1).empty());
    parser.supplies = {&records[1], &records[3]};
    EXPECT_TRUE(create(REQ_SUPPLY_LEVELS, &parser, -1).empty());
}

TEST(PPDStringWriter, WritesOnePrefixedLineInKeywordOrder) {
    supplyInfo_ toner = record(1, "Black", 1, 10, 5);
    const std::tuple<RequestType, int, int, std::string> cases[] = {
        {REQ_SUPPLY_LEVELS, 0, 0,
         "ATTR: marker-colors=#000000 marker-levels=50 marker-names='\"Black\"' marker-types=toner \n"},
        {REQ_INSTALLABLE_OPTIONS, kParserStatusNotAvailable, -1, ""},
        {REQ_DUPLEX_OPTIONS, 0, -1, ""},
    };
    for (const auto& [type, status, result, line] : cases) {
        SCOPED_TRACE(line);
        Capture capture;
        StubParser parser(status);
        parser.supplies = {&toner};
        PPDStringModifier writer;
        writer.setOutputMode(new WriterSTDERR(capture.file));
        EXPECT_EQ(writer.writeData(type, &parser), result);
        EXPECT_EQ(capture.text(), line);
    }
    PPDStringModifier unattached;  // without a stream nothing can be written
    EXPECT_EQ(unattached.writeToFile("PPD: a=1 "), -1);
}

TEST(PPDFileWriter, RewritesTheFirstLineOfEachKeyword) {
    std::string path = std::string(CFF_BINARY_DIR) + "/ppd-writer-test.ppd";
    std::ofstream(path) << "*PPD-Adobe: \"4.3\"\n*DefaultTrays: Tray1\n*OpenUI *DefaultTrays/Trays: PickOne\n"
                           "*DefaultFlash: NotInstalledF\n";
    Capture capture;
    StubParser parser(0);
    parser.trays = {{1, "A"}, {2, "B"}};
    PPDFileModifier writer(path);
    writer.setOutputMode(new WriterSTDOUT(capture.file));
    EXPECT_EQ(writer.writeData(REQ_INSTALLABLE_OPTIONS, &parser), 0);
    EXPECT_EQ(capture.text(), "*PPD-Adobe: \"4.3\"\n*DefaultTrays: Tray12\n*OpenUI *DefaultTrays/Trays: PickOne\n"
                              "*DefaultFlash: NotInstalledF\n\n");
    std::remove(path.c_str());

    PPDFileModifier missing(path);
    missing.setOutputMode(new WriterSTDOUT(capture.file));
    EXPECT_EQ(missing.writeData(REQ_INSTALLABLE_OPTIONS, &parser), -1);
    // The factory picks the line writer for an empty path, the file writer otherwise.
    std::unique_ptr<IWriter> line(WriterFactory::createWriter("")), file(WriterFactory::createWriter(path));
    EXPECT_NE(dynamic_cast<PPDStringModifier*>(line.get()), nullptr);
    EXPECT_NE(dynamic_cast<PPDFileModifier*>(file.get()), nullptr);
}
