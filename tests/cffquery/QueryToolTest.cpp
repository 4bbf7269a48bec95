// Tests of the direct-mode query tool: arguments, the printer check, the request and the binary.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>

#include "QueryTool.h"
#include "connection/Connection.h"
#include "connection/USBScriptedPlatform.h"
#include "core/DevCommand.h"
#include "helpers/StubParser.h"
#include "helpers/TestUtil.h"
#include "ppd/IWriter.h"
#include "protocol/Protocol.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const char* kUri = "usb://Acme/Laser%20500?serial=ABC123";

int parse(std::vector<const char*> argv, QueryOptions& options, std::string& error) {
    argv.insert(argv.begin(), "cffquery");
    return QueryTool::parseArguments(static_cast<int>(argv.size()), argv.data(), options, error);
}

TEST(QueryToolArguments, AcceptsTheCommandWordsAndATimeOutAndRejectsTheRest) {
    struct Case {
        std::vector<const char*> argv;
        RequestType type;
        double timeout;  // 0: none given
    } accepted[] = {
        {{"reportlevels", kUri}, REQ_SUPPLY_LEVELS, 0},
        {{"--timeout", "0.5", "ReportLevels", kUri}, REQ_SUPPLY_LEVELS, 0.5},
        {{"AutoConfigure", kUri, "--timeout=2"}, REQ_INSTALLABLE_OPTIONS, 2.0},
    };
    for (const Case& c : accepted) {
        SCOPED_TRACE(c.argv[0]);
        QueryOptions options;
        std::string error;
        ASSERT_EQ(parse(c.argv, options, error), kQueryExitSuccess) << error;
        EXPECT_EQ(options.type, c.type);
        EXPECT_EQ(options.uri, kUri);
        EXPECT_EQ(options.timeoutGiven, c.timeout > 0);
        EXPECT_DOUBLE_EQ(options.timeout, c.timeout > 0 ? c.timeout : 5.0);
    }
    for (const std::vector<const char*>& argv : std::vector<std::vector<const char*>>{
             {"AutoConfigure"}, {"PrintSelfTestPage", kUri}, {"AutoConfigure", "socket://10.0.0.1"},
             {"AutoConfigure", "USB://Acme/Laser?serial=1"}, {"AutoConfigure", kUri, "extra"},
             {"--timeout", "0", "AutoConfigure", kUri}, {"--timeout", "5s", "AutoConfigure", kUri},
             {"--timeout", "1e9", "AutoConfigure", kUri}, {"--verbose", "AutoConfigure", kUri}}) {
        QueryOptions options;
        std::string error;
        EXPECT_EQ(parse(argv, options, error), kQueryExitUsage) << argv.size() << " arguments, last " << argv.back();
        EXPECT_FALSE(error.empty());
    }
}

TEST(QueryToolCheck, FindsThePrinterOrSaysWhyNotAndReadsTheSerialNumberUpToTheNextParameter) {
    const int ok = kUsbSuccess, closed = kUsbNotPrivileged;
    struct Case {
        const char* what;
        bool printerClass, named;
        const char* serial;  // none: the right one, but not readable
        int accessStatus, listStatus, result;
        const char* message;
    } cases[] = {
        {"attached", true, true, "ABC123", ok, ok, kQueryExitSuccess, "/dev/bus/usb/001/004"},
        {"other serial", true, true, "X", ok, ok, kQueryExitNoPrinter, "no printer found"},
        {"printer node closed", true, false, nullptr, closed, ok, kQueryExitNoPermission,
         "permission denied on /dev/bus/usb/001/004"},
        {"other device closed", false, false, "ABC123", closed, ok, kQueryExitNoPrinter, "no printer found"},
        {"no USB", true, true, "ABC123", ok, kUsbNotAvailable, kQueryExitNoPrinter,
         "no printer found: USB devices cannot be reached"},
        {"list closed", true, true, "ABC123", ok, closed, kQueryExitNoPermission, "permission denied"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        USBScriptedPlatform platform;
        platform.listStatus = c.listStatus;
        platform.devices.push_back(scriptedPrinter("Acme Laser 500", c.serial ? c.serial : "ABC123"));
        UsbDeviceProperties& device = platform.devices[0].properties;
        device.hasPrinterInterface = c.printerClass;
        device.hasProductName = c.named;
        device.hasSerialNumber = c.serial != nullptr;
        device.accessStatus = c.accessStatus;
        std::string message;
        EXPECT_EQ(QueryTool::checkPrinter(platform, kUri, message), c.result);
        EXPECT_THAT(message, HasSubstr(c.message));
    }
    // The spooler's usb backend writes more parameters after the serial number, which ends there.
    const std::tuple<const char*, const char*, int> serials[] = {
        {"usb://Acme/Laser%20500?serial=ABC123&interface=1", "ABC123", kQueryExitSuccess},
        {"usb://Acme/Laser%20500?serial=abc123&interface=1&x=y", "ABC123", kQueryExitSuccess},
        {"usb://Acme/Laser%20500?serial=ABC123&interface=1", "ABC123&interface", kQueryExitNoPrinter},
    };
    for (const auto& [uri, deviceSerial, result] : serials) {
        USBScriptedPlatform platform({scriptedPrinter("Acme Laser 500", deviceSerial)});
        std::string message;
        EXPECT_EQ(QueryTool::checkPrinter(platform, uri, message), result) << uri << ": " << message;
    }
}

// Stand-ins for the request pieces, recording what the tool does with them (a sanitizer build
// reports any piece the tool fails to delete).
std::vector<std::string> events;
double connectionTimeout = 0.0;
int writeResult = 0, executeResult = 0;

struct FakeConnection : Connection {
    ~FakeConnection() override { connectionTimeout = getTimeoutVal(); }
    int doOpen() override { return 0; }
    int doClose() override { return -1; }
    int doWrite(Data*) override { return 0; }
    int doRead(Data&) override { return 0; }
};
struct FakeProtocol : Protocol {
    FakeProtocol() : Protocol(new FakeConnection) {}
    int doRequest(Data*, Data&) override { return 0; }
};
struct FakeCommand : DevCommand {
    FakeCommand() : DevCommand(CMD_CONFIGURATION, 0) {}
    int Execute(Protocol* protocol, Parser* parser) override {
        events.push_back(protocol && parser ? "execute" : "execute without pieces");
        return executeResult;
    }
};
struct FakeWriter : IWriter {  // prints its line on standard error as the real writer does
    int writeData(RequestType, Parser*) override {
        std::fprintf(stderr, "PPD: *OptionTray1=True \n");
        std::fflush(stderr);
        return writeResult;
    }
};

// Runs the request with the stand-ins; no protocol when |noProtocol|.
int runRequest(double timeout, bool noProtocol, std::string& message) {
    events.clear();
    QueryOptions options;
    options.uri = kUri;
    options.timeoutGiven = timeout != 5.0;
    options.timeout = timeout;
    QueryPipeline pipeline;
    pipeline.createProtocol = [noProtocol](RequestType, ExecutionType execution, std::string uri) -> Protocol* {
        events.push_back("protocol " + std::to_string(execution) + " " + uri);
        return noProtocol ? nullptr : new FakeProtocol;
    };
    pipeline.createWriter = [](std::string path) -> IWriter* {
        events.push_back("writer \"" + path + "\"");
        return new FakeWriter;
    };
    pipeline.createParser = [](ProtocolType) -> Parser* { return new StubParser; };
    pipeline.getCommands = [](RequestType, ProtocolType) {
        return std::list<DevCommand*>{new FakeCommand, nullptr, new FakeCommand};
    };
    return QueryTool::runRequest(options, pipeline, message);
}

// Every command runs with direct device access and the writer's line goes to standard output;
// without a protocol, or with nothing answered, the tool says why.
TEST(QueryToolRequest, RunsEveryCommandDirectlyAndPrintsTheLineOrSaysWhyNot) {
    std::string message;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int result = runRequest(0.3, false, message);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "PPD: *OptionTray1=True \n");
    EXPECT_EQ(result, kQueryExitSuccess) << message;
    EXPECT_DOUBLE_EQ(connectionTimeout, 0.3);
    EXPECT_THAT(events, ElementsAre(std::string("protocol 1 ") + kUri, "writer \"\"", "execute", "execute"));

    EXPECT_EQ(runRequest(5.0, true, message), kQueryExitRequestFailed);
    EXPECT_THAT(message, HasSubstr("no device dialogue"));
    writeResult = executeResult = -1;
    testing::internal::CaptureStdout();
    EXPECT_EQ(runRequest(5.0, false, message), kQueryExitRequestFailed);
    testing::internal::GetCapturedStdout();
    EXPECT_THAT(message, HasSubstr("did not answer"));
    EXPECT_DOUBLE_EQ(connectionTimeout, 5.0);  // left alone without --timeout
}

// The built tool: usage on bad arguments, and at once no printer for a serial nobody has.
TEST(QueryToolBinary, ShowsUsageOrSaysNoPrinterFoundAtOnce) {
    auto runTool = [](const std::string& arguments, std::string& err) {
        auto start = cfftest::now();
        int status = cfftest::runCommand("timeout 10 " CFFQUERY_BINARY " " + arguments + " 2>&1 >/dev/null", err);
        EXPECT_LT(cfftest::secondsSince(start), 1.0) << arguments;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    std::string usage, missing;
    EXPECT_EQ(runTool("AutoConfigure", usage), kQueryExitUsage);
    EXPECT_THAT(usage, HasSubstr("Usage: cffquery [--timeout SECONDS] (AutoConfigure|ReportLevels)"));
    EXPECT_EQ(runTool("ReportLevels 'usb://Nobody/None?serial=cffquery-test-0'", missing), kQueryExitNoPrinter) << missing;
    EXPECT_THAT(missing, HasSubstr("no printer found"));
}

}  // namespace
