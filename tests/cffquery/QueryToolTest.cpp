// Tests of the direct-mode query tool: arguments, the printer check, the request and the binary.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>

#include "QueryTool.h"
#include "connection/Connection.h"
#include "connection/USBScriptedPlatform.h"
#include "core/DevCommand.h"
#include "helpers/StubParser.h"
#include "ppd/IWriter.h"
#include "protocol/Protocol.h"

using testing::HasSubstr;

namespace {

const char* kUri = "usb://Acme/Laser%20500?serial=ABC123";

TEST(QueryToolArguments, AcceptsTheCommandWordsAndATimeOut) {
    struct Case {
        std::vector<const char*> argv;
        RequestType type;
        bool timeoutGiven;
        double timeout;
    } cases[] = {
        {{"cffquery", "AutoConfigure", kUri}, REQ_INSTALLABLE_OPTIONS, false, 5.0},
        {{"cffquery", "reportlevels", kUri}, REQ_SUPPLY_LEVELS, false, 5.0},
        {{"cffquery", "--timeout", "0.5", "ReportLevels", kUri}, REQ_SUPPLY_LEVELS, true, 0.5},
        {{"cffquery", "AutoConfigure", kUri, "--timeout=2"}, REQ_INSTALLABLE_OPTIONS, true, 2.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.argv[1]);
        QueryOptions options;
        std::string error;
        ASSERT_EQ(QueryTool::parseArguments(static_cast<int>(c.argv.size()), c.argv.data(), options, error),
                  kQueryExitSuccess)
            << error;
        EXPECT_EQ(options.type, c.type);
        EXPECT_EQ(options.uri, kUri);
        EXPECT_EQ(options.timeoutGiven, c.timeoutGiven);
        EXPECT_DOUBLE_EQ(options.timeout, c.timeout);
    }
}

TEST(QueryToolArguments, RejectsWhatItCannotRun) {
    std::vector<std::vector<const char*>> cases = {
        {"cffquery"},
        {"cffquery", "AutoConfigure"},
        {"cffquery", "PrintSelfTestPage", kUri},
        {"cffquery", "AutoConfigure", "socket://10.0.0.1"},
        {"cffquery", "AutoConfigure", "USB://Acme/Laser?serial=1"},
        {"cffquery", "AutoConfigure", kUri, "extra"},
        {"cffquery", "--timeout"},
        {"cffquery", "--timeout", "0", "AutoConfigure", kUri},
        {"cffquery", "--timeout", "5s", "AutoConfigure", kUri},
        {"cffquery", "--timeout=nan", "AutoConfigure", kUri},
        {"cffquery", "--timeout", "1e9", "AutoConfigure", kUri},
        {"cffquery", "--verbose", "AutoConfigure", kUri},
    };
    for (const auto& argv : cases) {
        QueryOptions options;
        std::string error;
        EXPECT_EQ(QueryTool::parseArguments(static_cast<int>(argv.size()), argv.data(), options, error),
                  kQueryExitUsage)
            << argv.size() << " arguments, last " << argv.back();
        EXPECT_FALSE(error.empty());
    }
}

TEST(QueryToolCheck, FindsThePrinterOrSaysWhyNot) {
    struct Case {
        const char* what;
        void (*script)(USBScriptedPlatform&);
        int result;
        const char* message;
    } cases[] = {
        {"attached", [](USBScriptedPlatform&) {}, kQueryExitSuccess, "/dev/bus/usb/001/004"},
        {"other serial", [](USBScriptedPlatform& p) { p.devices[0].properties.serialNumber = "X"; },
         kQueryExitNoPrinter, "no printer found"},
        {"nothing attached", [](USBScriptedPlatform& p) { p.devices.clear(); }, kQueryExitNoPrinter,
         "no printer found"},
        {"printer node closed",
         [](USBScriptedPlatform& p) {
             p.devices[0].properties.hasProductName = false;
             p.devices[0].properties.hasSerialNumber = false;
             p.devices[0].properties.accessStatus = kUsbNotPrivileged;
         },
         kQueryExitNoPermission, "permission denied on /dev/bus/usb/001/004"},
        {"other device closed",
         [](USBScriptedPlatform& p) {
             p.devices[0].properties.hasPrinterInterface = false;
             p.devices[0].properties.hasProductName = false;
             p.devices[0].properties.accessStatus = kUsbNotPrivileged;
         },
         kQueryExitNoPrinter, "no printer found"},
        {"no USB", [](USBScriptedPlatform& p) { p.listStatus = kUsbNotAvailable; }, kQueryExitNoPrinter,
         "no printer found: USB devices cannot be reached"},
        {"list closed", [](USBScriptedPlatform& p) { p.listStatus = kUsbNotPrivileged; },
         kQueryExitNoPermission, "permission denied"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        USBScriptedPlatform platform;
        platform.devices.push_back(scriptedPrinter("Acme Laser 500", "ABC123"));
        platform.devices[0].properties.location = "/dev/bus/usb/001/004";
        c.script(platform);
        std::string message;
        EXPECT_EQ(QueryTool::checkPrinter(platform, kUri, message), c.result);
        EXPECT_THAT(message, HasSubstr(c.message));
    }
}

// Stand-ins for the request pieces, recording what the tool does with them.
std::vector<std::string> events;
double connectionTimeout = 0.0;
int writeResult = 0;
int executeResult = 0;

struct FakeConnection : Connection {
    ~FakeConnection() override { connectionTimeout = getTimeoutVal(); }
    int doOpen() override { return 0; }
    int doClose() override { return -1; }
    int doWrite(Data*) override { return 0; }
    int doRead(Data&) override { return 0; }
};

struct FakeProtocol : Protocol {
    FakeProtocol() : Protocol(new FakeConnection) {}
    ~FakeProtocol() override { events.push_back("delete protocol"); }
    int doRequest(Data*, Data&) override { return 0; }
};

struct FakeParser : StubParser {
    ~FakeParser() override { events.push_back("delete parser"); }
};

struct FakeCommand : DevCommand {
    FakeCommand() : DevCommand(CMD_CONFIGURATION, 0) {}
    ~FakeCommand() override { events.push_back("delete command"); }
    int Execute(Protocol* protocol, Parser* parser) override {
        events.push_back(protocol && parser ? "execute" : "execute without pieces");
        return executeResult;
    }
};

struct FakeWriter : IWriter {
    ~FakeWriter() override { events.push_back("delete writer"); }
    int writeData(RequestType, Parser*) override {
        std::fprintf(stderr, "PPD: *OptionTray1=True \n");  // as the real writer does
        std::fflush(stderr);
        return writeResult;
    }
};

class QueryToolRequest : public testing::Test {
protected:
    void SetUp() override {
        events.clear();
        writeResult = executeResult = 0;
        pipeline.createProtocol = [this](RequestType, ExecutionType execution, std::string uri) -> Protocol* {
            events.push_back("protocol " + std::to_string(execution) + " " + uri);
            return noProtocol ? nullptr : new FakeProtocol;
        };
        pipeline.createWriter = [](std::string path) -> IWriter* {
            events.push_back("writer \"" + path + "\"");
            return new FakeWriter;
        };
        pipeline.createParser = [](ProtocolType) -> Parser* { return new FakeParser; };
        pipeline.getCommands = [](RequestType, ProtocolType) {
            return std::list<DevCommand*>{new FakeCommand, nullptr, new FakeCommand};
        };
        options.uri = kUri;
    }

    QueryPipeline pipeline;
    QueryOptions options;
    bool noProtocol = false;
    std::string message;
};

TEST_F(QueryToolRequest, RunsEveryCommandDirectlyAndPrintsTheLineOnStandardOutput) {
    options.timeoutGiven = true;
    options.timeout = 0.3;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int result = QueryTool::runRequest(options, pipeline, message);
    std::string err = testing::internal::GetCapturedStderr();
    std::string out = testing::internal::GetCapturedStdout();

    EXPECT_EQ(result, kQueryExitSuccess) << message;
    EXPECT_EQ(out, "PPD: *OptionTray1=True \n");
    EXPECT_EQ(err, "");
    EXPECT_DOUBLE_EQ(connectionTimeout, 0.3);
    EXPECT_THAT(events, testing::ElementsAre(std::string("protocol 1 ") + kUri, "writer \"\"", "execute",
                                             "execute", "delete command", "delete command", "delete parser",
                                             "delete protocol", "delete writer"));
}

TEST_F(QueryToolRequest, ReportsWhyNothingCameOut) {
    noProtocol = true;
    EXPECT_EQ(QueryTool::runRequest(options, pipeline, message), kQueryExitRequestFailed);
    EXPECT_THAT(message, HasSubstr("no device dialogue"));
    EXPECT_EQ(events.back(), "delete writer");

    noProtocol = false;
    writeResult = executeResult = -1;
    testing::internal::CaptureStdout();
    EXPECT_EQ(QueryTool::runRequest(options, pipeline, message), kQueryExitRequestFailed);
    testing::internal::GetCapturedStdout();
    EXPECT_THAT(message, HasSubstr("did not answer"));
    EXPECT_DOUBLE_EQ(connectionTimeout, 5.0);  // left alone without --timeout
}

// Runs the built tool with |arguments|; its exit status, standard error and run time.
int runTool(const std::string& arguments, std::string& err, double& seconds) {
    std::string command = "timeout 10 " + std::string(CFFQUERY_BINARY) + " " + arguments + " 2>&1 >/dev/null";
    auto start = std::chrono::steady_clock::now();
    FILE* run = popen(command.c_str(), "r");
    char chunk[512];
    for (size_t got; run && (got = std::fread(chunk, 1, sizeof chunk, run)) > 0;) err.append(chunk, got);
    int status = run ? pclose(run) : -1;
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(QueryToolBinary, SaysNoPrinterFoundAtOnceWhenNoneIsAttached) {
    std::string err;
    double seconds = 0;
    // No attached device carries this serial number, whatever else is plugged in.
    int status = runTool("ReportLevels 'usb://Nobody/None?serial=cffquery-test-0'", err, seconds);
    EXPECT_EQ(status, kQueryExitNoPrinter) << err;
    EXPECT_THAT(err, HasSubstr("no printer found"));
    EXPECT_LT(seconds, 1.0);
}

TEST(QueryToolBinary, ShowsUsageOnBadArguments) {
    std::string err;
    double seconds = 0;
    EXPECT_EQ(runTool("AutoConfigure", err, seconds), kQueryExitUsage);
    EXPECT_THAT(err, HasSubstr("Usage: cffquery [--timeout SECONDS] (AutoConfigure|ReportLevels)"));
}

}  // namespace
