// Tests of the writers' output: the spooler line, the PPD file rewrite and the factory.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <tuple>

#include "helpers/StubParser.h"
#include "ppd/PPDFileModifier.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/WriterFactory.h"
#include "ppd/WriterSTDERR.h"
#include "ppd/WriterSTDOUT.h"

namespace {

// A parser that knows two trays and one supply and nothing else.
struct SmallParser : StubParser {
    explicit SmallParser(bool knowsNothing = false) : StubParser(knowsNothing ? kParserStatusNotAvailable : 0) {
        std::tie(toner.supplyId, toner.name, toner.type, toner.maxCapacity, toner.currentLevel) =
            std::make_tuple(1, "Black", 1, 10, 5);
    }
    int getSupplyInfo(std::list<supplyInfo_*>& out) override {
        if (status_ == 0) out.push_back(&toner);
        return status_;
    }
    int getTrays(std::map<int, std::string>& out) override { return out = {{1, "A"}, {2, "B"}}, status_; }
    int getDuplex(int& out) override { return out = 0, status_; }
    supplyInfo_ toner;
};

// A temporary file that the writer's stream writes into.
struct Capture {
    FILE* file = std::tmpfile();
    ~Capture() { std::fclose(file); }
    std::string text() {
        std::fseek(file, 0, SEEK_END);
        std::string out(static_cast<size_t>(std::ftell(file)), '\0');
        std::rewind(file);
        out.resize(std::fread(out.data(), 1, out.size(), file));
        return out;
    }
};

TEST(PPDStringWriter, WritesOnePrefixedLineInKeywordOrder) {
    struct Case {
        RequestType type;
        bool knowsNothing;
        int result;
        std::string line;
    };
    const Case cases[] = {
        {REQ_INSTALLABLE_OPTIONS, false, 0,
         "PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF DefaultOptDuplex="
         "NotInstalledM DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM DefaultTrays=Tray12 \n"},
        {REQ_SUPPLY_LEVELS, false, 0,
         "ATTR: marker-colors=#000000 marker-levels=50 marker-names='\"Black\"' marker-types=toner \n"},
        {REQ_INSTALLABLE_OPTIONS, true, -1, ""},
        {REQ_DUPLEX_OPTIONS, false, -1, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        Capture capture;
        SmallParser parser(c.knowsNothing);
        PPDStringModifier writer;
        writer.setOutputMode(new WriterSTDERR(capture.file));
        EXPECT_EQ(writer.writeData(c.type, &parser), c.result);
        EXPECT_EQ(capture.text(), c.line);
    }
}

TEST(PPDStringWriter, FormatsOnlyRequestTypesWithAPrefix) {
    PPDStringModifier writer;
    std::map<std::string, std::string> keywords{{"b", "2"}, {"a", "1"}};
    EXPECT_EQ(writer.formatData(REQ_SUPPLY_LEVELS, keywords), "ATTR: a=1 b=2 ");
    EXPECT_EQ(writer.formatData(REQ_DUPLEX_OPTIONS, keywords), "");
    EXPECT_EQ(writer.formatData(REQ_INSTALLABLE_OPTIONS, {}), "");
    // Without a stream nothing can be written.
    EXPECT_EQ(writer.writeToFile("PPD: a=1 "), -1);
}

TEST(PPDFileWriter, RewritesTheFirstLineOfEachKeyword) {
    std::string path = std::string(CFF_BINARY_DIR) + "/ppd-writer-test.ppd";
    std::ofstream(path) << "*PPD-Adobe: \"4.3\"\n*DefaultTrays: Tray1\n*OpenUI *DefaultTrays/Trays: PickOne\n"
                           "*DefaultFlash: NotInstalledF\n";
    Capture capture;
    SmallParser parser;
    PPDFileModifier writer(path);
    writer.setOutputMode(new WriterSTDOUT(capture.file));
    EXPECT_EQ(writer.writeData(REQ_INSTALLABLE_OPTIONS, &parser), 0);
    EXPECT_EQ(capture.text(),
              "*PPD-Adobe: \"4.3\"\n*DefaultTrays: Tray12\n*OpenUI *DefaultTrays/Trays: PickOne\n"
              "*DefaultFlash: NotInstalledF\n\n");
    std::remove(path.c_str());

    PPDFileModifier missing(path);
    missing.setOutputMode(new WriterSTDOUT(capture.file));
    EXPECT_EQ(missing.writeData(REQ_INSTALLABLE_OPTIONS, &parser), -1);
}

TEST(WriterFactory, ChoosesTheWriterByThePath) {
    std::unique_ptr<IWriter> line(WriterFactory::createWriter(""));
    std::unique_ptr<IWriter> file(WriterFactory::createWriter("/tmp/some.ppd"));
    EXPECT_NE(dynamic_cast<PPDStringModifier*>(line.get()), nullptr);
    EXPECT_NE(dynamic_cast<PPDFileModifier*>(file.get()), nullptr);
}

}  // namespace
