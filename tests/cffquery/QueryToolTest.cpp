// Tests of the direct-mode query tool: arguments, the printer check, the request and the binary.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>

#include "PrinterResponder.h"
#include "ProfileLoader.h"
#include "QueryTool.h"
#include "connection/USBConnection.h"
#include "connection/USBScriptedPlatform.h"
#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"

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

TEST(QueryToolCheck, FindsThePrinterOrSaysWhyNot) {
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
}

// A printer attached by USB that answers as the simulator's printer for |profileName| does
// (none: it stays silent), lent to the connections the tool makes while it is the latest made.
struct AttachedPrinter {
    explicit AttachedPrinter(const char* profileName) {
        std::string error;
        if (profileName != nullptr) {
            EXPECT_EQ(ProfileLoader::loadFile(std::string(CFFSIM_PROFILE_DIR) + "/" + profileName + ".yaml", profile, error), 0)
                << error;
            usb.onWrite = [this](const std::vector<unsigned char>& request) {
                for (const std::string& packet : printer.respond(NpaRequest::classify(std::string(request.begin(), request.end())))) {
                    usb.reads.push_back({kUsbSuccess, std::vector<unsigned char>(packet.begin(), packet.end())});
                }
            };
        }
        attached = this;
        USBConnection::setSystemPlatformMaker([]() -> std::unique_ptr<UsbPlatform> { return std::make_unique<Lent>(); });
    }
    ~AttachedPrinter() { USBConnection::setSystemPlatformMaker(nullptr); }
    struct Lent : UsbPlatform {
        int listDevices(std::vector<UsbDeviceProperties>& out) override { return attached->usb.listDevices(out); }
        int matchDevices(int vendor, int product, std::vector<std::unique_ptr<UsbDeviceEntry>>& out) override {
            return attached->usb.matchDevices(vendor, product, out);
        }
    };

    static inline AttachedPrinter* attached = nullptr;
    USBScriptedPlatform usb{{scriptedPrinter("Acme Laser 500", "ABC123")}};
    DeviceProfile profile;
    SimulatorOptions options;
    PrinterResponder printer{profile, options, 500};
};

// Runs the tool on |argv| with |printer| attached: its exit status, standard output and error.
std::tuple<int, std::string, std::string> runTool(std::vector<const char*> argv, AttachedPrinter& printer) {
    argv.insert(argv.begin(), "cffquery");
    OutputCapture out(1), err(2);
    int status = QueryTool::run(static_cast<int>(argv.size()), argv.data(), printer.usb);
    return {status, out.text(), err.text()};
}

// The tool asks the attached printer as the filter asks it, with direct access, and prints the
// filter's line on standard output; --timeout reaches the reads; a silent printer is named.
TEST(QueryToolRequest, AsksThePrinterDirectlyAndPrintsTheFiltersLine) {
    AttachedPrinter colour("color-finisher");
    EXPECT_EQ(runTool({"--timeout", "0.3", "AutoConfigure", kUri}, colour),
              std::make_tuple(kQueryExitSuccess,
                              std::string("PPD: DefaultEnvFeeder=InstalledM DefaultFlash=InstalledF DefaultOptDuplex=InstalledM "
                                          "DefaultOptOutputBins=OBin3 DefaultOutputFinisher=AdvancedFinisher "
                                          "DefaultTrays=Tray1234 \n"),
                              std::string()));
    ASSERT_FALSE(colour.usb.readCalls.empty());
    for (const auto& call : colour.usb.readCalls) EXPECT_EQ(std::get<3>(call), 30u) << "completion time-out";

    AttachedPrinter mono("basic-mono");
    auto [status, out, err] = runTool({"ReportLevels", kUri}, mono);
    EXPECT_EQ(status, kQueryExitSuccess) << err;
    EXPECT_THAT(out, testing::StartsWith("ATTR: marker-colors=#000000,#000000 marker-levels=40,75 "));
    EXPECT_EQ(std::get<3>(mono.usb.readCalls.at(0)), 500u);

    AttachedPrinter silent(nullptr);
    std::tie(status, out, err) = runTool({"AutoConfigure", kUri}, silent);
    EXPECT_EQ(status, kQueryExitRequestFailed);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "cffquery: nothing to report: the printer did not answer\n");
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
