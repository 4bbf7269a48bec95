// Tests of the mapping to PPD keywords and marker attributes, and of the writers that put them out.
#include <gtest/gtest.h>

#include <fstream>

#include "helpers/OutputCapture.h"
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

}  // namespace

TEST(PPDOptions, TraysBinsAndFinishersOutOfRange) {
    StubParser parser(0);
    std::tie(parser.manualFeeder, parser.duplex, parser.flash) = std::make_tuple(-1, 1, 1);
    std::tie(parser.trays, parser.bins, parser.finishers) =
        std::make_tuple(OptionMap{{129, ""}, {130, ""}}, OptionMap{{16, ""}}, OptionMap{{5, ""}});
    EXPECT_EQ(create(REQ_INSTALLABLE_OPTIONS, &parser, -1),
              (PPDKeywordMap{{"DefaultOptDuplex", "InstalledM"}, {"DefaultFlash", "InstalledF"}}));  // nothing in range
    parser.trays = {{2, ""}};
    parser.finishers = {{12, ""}};  // the bins fail, but the finishers decide
    EXPECT_EQ(create(REQ_INSTALLABLE_OPTIONS, &parser, 0),
              (PPDKeywordMap{{"DefaultTrays", "Tray12"}, {"DefaultOutputFinisher", "StandardFinisher"},
                             {"DefaultOptDuplex", "InstalledM"}, {"DefaultFlash", "InstalledF"}}));
}

TEST(PPDSupplies, ReportsTheFourMarkerAttributesInThirtyTwoBitArithmetic) {
    std::vector<supplyInfo_> records = {record(1, "Black Toner", 1, 100, 40), record(42, "Hidden", 1, 100, 1),
                                        record(2, "Big", 5, 40000000, 30000000), record(3, "Other", 0, 100, 1)};
    StubParser parser(0);
    for (supplyInfo_& r : records) parser.supplies.push_back(&r);
    // 30000000 * 100 wraps: -1294967296 / 40000000 = -32.
    EXPECT_EQ(create(REQ_SUPPLY_LEVELS, &parser, 0),
              (PPDKeywordMap{{"marker-names", "'\"Black Toner\"','\"Big\"'"}, {"marker-levels", "40,-32"},
                             {"marker-types", "toner,fuser"}, {"marker-colors", "#000000,#00FFFF"}}));
    // Nothing to report: no supplies, or only hidden and untyped ones.
    parser.supplies.clear();
    EXPECT_TRUE(create(REQ_SUPPLY_LEVELS, &parser, -1).empty());
    parser.supplies = {&records[1], &records[3]};
    EXPECT_TRUE(create(REQ_SUPPLY_LEVELS, &parser, -1).empty());
}

// Unavailable facts, a request without a mapping, or a writer without a stream put out nothing.
TEST(PPDWriters, FailedRequestsWriteNothing) {
    StubParser unavailable, available(0);
    EXPECT_TRUE(create(REQ_INSTALLABLE_OPTIONS, &unavailable, -1).empty());
    EXPECT_TRUE(create(REQ_INSTALLABLE_OPTIONS, nullptr, -1).empty());
    EXPECT_TRUE(create(REQ_DUPLEX_OPTIONS, &unavailable, 0).empty());
    EXPECT_TRUE(create(static_cast<RequestType>(3), &unavailable, -1).empty());
    for (const auto& [type, parser] : {std::make_pair(REQ_INSTALLABLE_OPTIONS, &unavailable),
                                       std::make_pair(REQ_DUPLEX_OPTIONS, &available)}) {
        OutputCapture err(2);
        PPDStringModifier writer;
        writer.setOutputMode(new WriterSTDERR());
        EXPECT_EQ(writer.writeData(type, parser), -1);
        EXPECT_EQ(err.text(), "");
    }
    EXPECT_EQ(PPDStringModifier().writeToFile("PPD: a=1 "), -1);
}

TEST(PPDFileWriter, RewritesTheFirstLineOfEachKeyword) {
    std::string path = std::string(CFF_BINARY_DIR) + "/ppd-writer-test.ppd";
    std::ofstream(path) << "*PPD-Adobe: \"4.3\"\n*DefaultTrays: Tray1\n*OpenUI *DefaultTrays/Trays: PickOne\n"
                           "*DefaultFlash: NotInstalledF\n";
    StubParser parser(0);
    parser.trays = {{1, "A"}, {2, "B"}};
    PPDFileModifier writer(path), missing(path + ".missing");
    writer.setOutputMode(new WriterSTDOUT());
    missing.setOutputMode(new WriterSTDOUT());
    OutputCapture out(1);  // test failures print there too: checked once it is restored
    const int written = writer.writeData(REQ_INSTALLABLE_OPTIONS, &parser);
    const int refused = missing.writeData(REQ_INSTALLABLE_OPTIONS, &parser);
    const std::string text = out.text();
    EXPECT_EQ(written, 0);
    EXPECT_EQ(refused, -1);
    EXPECT_EQ(text, "*PPD-Adobe: \"4.3\"\n*DefaultTrays: Tray12\n*OpenUI *DefaultTrays/Trays: PickOne\n"
                    "*DefaultFlash: NotInstalledF\n\n");
    std::remove(path.c_str());
    // The factory picks the line writer for an empty path, the file writer otherwise.
    std::unique_ptr<IWriter> line(WriterFactory::createWriter("")), file(WriterFactory::createWriter(path));
    EXPECT_NE(dynamic_cast<PPDStringModifier*>(line.get()), nullptr);
    EXPECT_NE(dynamic_cast<PPDFileModifier*>(file.get()), nullptr);
}
