// Tests of the writers' output: the spooler line, the PPD file rewrite and the factory.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>

#include "parser/Parser.h"
#include "ppd/PPDFileModifier.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/WriterFactory.h"
#include "ppd/WriterSTDERR.h"
#include "ppd/WriterSTDOUT.h"

namespace {

// A parser that knows two trays and one supply and nothing else.
struct SmallParser : Parser {
    bool knowsNothing = false;
    supplyInfo_ toner;
    SmallParser() {
        toner.supplyId = 1;
        toner.name = "Black";
        toner.type = 1;
        toner.maxCapacity = 10;
        toner.currentLevel = 5;
    }
    int parseData(Data*, CommandID) override { return 0; }
    int getSupplyInfo(std::list<supplyInfo_*>& out) override {
        if (!knowsNothing) {
            out.push_back(&toner);
        }
        return status();
    }
    int getTrays(std::map<int, std::string>& out) override {
        out = {{1, "A"}, {2, "B"}};
        return status();
    }
    int getBins(std::map<int, std::string>&) override { return status(); }
    int getDuplex(int& out) override {
        out = 0;
        return status();
    }
    int getFLash(int&) override { return status(); }
    int getFinishers(std::map<int, std::string>&) override { return status(); }
    int getSNMPCodePage(int&) override { return status(); }
    int getManualFeeder(int&) override { return status(); }
    int status() const { return knowsNothing ? kParserStatusNotAvailable : 0; }
};

// A temporary file that the writer's stream writes into.
class Capture {
public:
    Capture() : file_(std::tmpfile()) {}
    ~Capture() { std::fclose(file_); }
    FILE* file() { return file_; }
    std::string text() {
        std::fflush(file_);
        std::rewind(file_);
        std::string out;
        char buffer[512];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0) {
            out.append(buffer, n);
        }
        return out;
    }

private:
    FILE* file_;
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
         "PPD: DefaultDuplex=None DefaultEnvFeeder=NotInstalledM DefaultFlash=NotInstalledF "
         "DefaultOptDuplex=NotInstalledM "
         "DefaultOptOutputBins=StandardBin DefaultOutputFinisher=NotInstalledM "
         "DefaultTrays=Tray12 \n"},
        {REQ_SUPPLY_LEVELS, false, 0,
         "ATTR: marker-colors=#000000 marker-levels=50 marker-names='\"Black\"' "
         "marker-types=toner \n"},
        {REQ_INSTALLABLE_OPTIONS, true, -1, ""},
        {REQ_DUPLEX_OPTIONS, false, -1, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        Capture capture;
        SmallParser parser;
        parser.knowsNothing = c.knowsNothing;
        PPDStringModifier writer;
        writer.setOutputMode(new WriterSTDERR(capture.file()));
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
    {
        std::ofstream ppd(path);
        ppd << "*PPD-Adobe: \"4.3\"\n"
               "*DefaultTrays: Tray1\n"
               "*OpenUI *DefaultTrays/Trays: PickOne\n"
               "*DefaultFlash: NotInstalledF\n";
    }
    Capture capture;
    SmallParser parser;
    PPDFileModifier writer(path);
    writer.setOutputMode(new WriterSTDOUT(capture.file()));
    EXPECT_EQ(writer.writeData(REQ_INSTALLABLE_OPTIONS, &parser), 0);
    EXPECT_EQ(capture.text(),
              "*PPD-Adobe: \"4.3\"\n"
              "*DefaultTrays: Tray12\n"
              "*OpenUI *DefaultTrays/Trays: PickOne\n"
              "*DefaultFlash: NotInstalledF\n\n");
    std::remove(path.c_str());

    PPDFileModifier missing(path);
    missing.setOutputMode(new WriterSTDOUT(capture.file()));
    EXPECT_EQ(missing.writeData(REQ_INSTALLABLE_OPTIONS, &parser), -1);
}

TEST(WriterFactory, ChoosesTheWriterByThePath) {
    std::unique_ptr<IWriter> line(WriterFactory::createWriter(""));
    std::unique_ptr<IWriter> file(WriterFactory::createWriter("/tmp/some.ppd"));
    EXPECT_NE(dynamic_cast<PPDStringModifier*>(line.get()), nullptr);
    EXPECT_NE(dynamic_cast<PPDFileModifier*>(file.get()), nullptr);
}

}  // namespace
