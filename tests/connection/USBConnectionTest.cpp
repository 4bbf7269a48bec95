// Tests of the USB transport against a scripted device registry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "connection/USBConnection.h"
#include "connection/USBScriptedPlatform.h"
#include "helpers/TestUtil.h"
#include "support/TempLog.h"

using testing::ElementsAre;

namespace {

const char* kUri = "usb://Acme/Laser%20500?serial=ABC123";

TEST(USBConnectionURI, SplitsMakeModelAndSerial) {
    struct Case {
        const char *uri, *make, *model, *serial;
    } cases[] = {
        {"usb://Make/Model%20X?serial=123", "Make", "Model X", "123"},
        {"usb://Make%20Co/Model", "Make Co", "Model", ""},               // no "?": whole component
        {"usb://Make/Model?serial", "Make", "Model", ""},                // no "=": no serial
        {"usb://Make/Model?serial=ab=cd", "Make", "Model", "ab"},        // cut at a second "="
        {"usb://Make/Model=7?serial=1", "Make", "Model=7", "7?serial"},  // "=" counted from the start
        {"usb://Make/Model?serial=9/extra", "Make", "Model", "9"},
        {"usb://Make", "Make", "", ""},
        {"usb:", "", "", ""},
    };
    USBScriptedPlatform platform;
    for (const Case& c : cases) {
        USBConnection connection(c.uri, &platform);
        EXPECT_EQ(connection.getMake() + "|" + connection.getModel() + "|" + connection.getSerialNumber(),
                  std::string(c.make) + "|" + c.model + "|" + c.serial)
            << c.uri;
    }
}

TEST(USBConnectionMatching, NeedsMakeOrModelInProductNameAndTheSameSerial) {
    struct Case {
        const char *uri, *productName, *serial;
        bool hasName, hasSerial, matches;
    } cases[] = {
        {kUri, "ACME LASER 500 MFP", "ABC123", true, true, true},
        {kUri, "Acme printer", "ABC123", true, true, true},  // make alone is enough
        {kUri, "laser 500", "ABC123", true, true, true},     // model alone, other case
        {kUri, "Other Printer", "ABC123", true, true, false},
        {kUri, "Acme Laser 500", "abc123", true, true, true},  // serial ignores case
        {kUri, "Acme Laser 500", "ABC1234", true, true, false},
        {kUri, "Acme Laser 500", "ABC123", false, true, false},
        {kUri, "Acme Laser 500", "ABC123", true, false, false},
        {"usb://Acme/Laser%20500", "Acme Laser 500", "", true, true, false},  // no serial in the URI
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.uri) + " / " + c.productName + " / " + c.serial);
        USBScriptedPlatform platform;
        platform.devices.push_back(scriptedPrinter("Unrelated", "ABC123", 1, 1));
        platform.devices.push_back(scriptedPrinter(c.productName, c.serial, 0x4aa, 0x21));
        platform.devices.back().properties.hasProductName = c.hasName;
        platform.devices.back().properties.hasSerialNumber = c.hasSerial;
        platform.devices.push_back(scriptedPrinter("Acme Laser 500", "no", 3, 3));
        USBConnection connection(c.uri, &platform);
        EXPECT_EQ(connection.getVIDPID(), c.matches ? 0 : -1);
        EXPECT_EQ(connection.getVendorID(), c.matches ? 0x4aa : 0);
        EXPECT_EQ(connection.getProductID(), c.matches ? 0x21 : 0);
    }
}

TEST(USBConnectionOpen, KeepsTheFirstInterfaceOfClass7Subclass1) {
    USBScriptedPlatform platform;
    ScriptedDevice printer = scriptedPrinter("Acme Laser 500", "ABC123");
    ScriptedInterface vendor, otherSubClass;
    vendor.interfaceClass = 255;
    vendor.interfaceSubClass = 0;
    otherSubClass.interfaceSubClass = 2;
    printer.interfaces.insert(printer.interfaces.begin(), {vendor, otherSubClass});
    platform.devices.push_back(printer);

    USBConnection connection(kUri, &platform);
    ASSERT_EQ(connection.doOpen(), 0);
    EXPECT_TRUE(connection.isOpen());
    EXPECT_THAT(platform.events, ElementsAre("release 255/0", "release 7/2", "open 7/1"));
    EXPECT_EQ(connection.getWritePipe(), 1);
    EXPECT_EQ(connection.getReadPipe(), 2);
}

TEST(USBConnectionOpen, FailsWithTenWithoutAReachablePrintInterface) {
    using Script = void (*)(USBScriptedPlatform&);
    struct Case {
        const char* what;
        Script script;
        int printStatus;  // what getPrintInterface gives for the first device
    } cases[] = {
        {"plug-in fails", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].plugInStatus = kUsbNoMemory; },
         kUsbNoMemory},
        {"no plug-in", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].givesPlugIn = false; }, 0},
        {"query fails", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].queryStatus = kUsbError; }, 0},
        {"no object", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].givesObject = false; }, 0},
        {"match fails", [](USBScriptedPlatform& p) { p.matchStatus = kUsbError; }, 0},
        {"device fails", [](USBScriptedPlatform& p) { p.devices[0].openStatus = kUsbNotPrivileged; }, 0},
        {"no device", [](USBScriptedPlatform& p) { p.devices[0].givesDevice = false; }, 0},
        {"interface busy", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].openStatus = kUsbBusy; }, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        USBScriptedPlatform platform;
        // A print interface behind the broken one is not reached: the walk stops there.
        platform.devices = {scriptedPrinter("Acme Laser 500", "ABC123")};
        platform.devices[0].interfaces.push_back(platform.devices[0].interfaces[0]);
        c.script(platform);
        USBConnection connection(kUri, &platform);
        EXPECT_EQ(connection.doOpen(), 10);
        EXPECT_FALSE(connection.isOpen());
        EXPECT_EQ(connection.doWrite(nullptr), 0);
        EXPECT_TRUE(platform.writes.empty());

        std::vector<std::unique_ptr<UsbDeviceEntry>> entries;
        std::unique_ptr<UsbDevice> device;
        if (platform.matchDevices(0x1234, 0x5678, entries) == 0 && entries[0]->openDevice(device) == 0 && device) {
            EXPECT_EQ(connection.getPrintInterface(device.get()), c.printStatus);
        }
    }
}

TEST(USBConnectionOpen, GoesOnToTheNextDeviceAndLetsLaterPipesWin) {
    USBScriptedPlatform platform;
    ScriptedDevice hub = scriptedPrinter("Acme Laser 500", "ABC123");
    hub.interfaces[0].interfaceClass = 9;
    ScriptedDevice printer = scriptedPrinter("Acme Laser 500", "ABC123");
    printer.interfaces[0].pipes = {{kUsbDirectionOut, 1, kUsbTransferBulk, 64, 0},
                                   {kUsbDirectionIn, 2, kUsbTransferBulk, 64, 0},
                                   {kUsbDirectionIn, 3, kUsbTransferInterrupt, 8, 10},
                                   {kUsbDirectionOut, 4, kUsbTransferBulk, 64, 0}};
    printer.interfaces[0].failingPipes = {4};  // skipped: pipe 1 stays the write pipe
    platform.devices = {hub, printer};
    USBConnection connection(kUri, &platform);
    ASSERT_EQ(connection.doOpen(), 0);
    EXPECT_THAT(platform.events, ElementsAre("release 9/1", "open 7/1"));
    EXPECT_EQ(connection.getReadPipe(), 3);  // the interrupt-in pipe, listed after bulk-in
    EXPECT_EQ(connection.getWritePipe(), 1);
}

class USBConnectionOpened : public testing::Test {
protected:
    void SetUp() override {
        platform.devices.push_back(scriptedPrinter("Acme Laser 500", "ABC123"));
        ASSERT_EQ(connection.doOpen(), 0);
        platform.events.clear();
    }

    USBScriptedPlatform platform;
    USBConnection connection{kUri, &platform};
};

TEST_F(USBConnectionOpened, WritesTheWholeBufferOnceAndClearsAStall) {
    Data data(std::string("\xA5\x00\x03", 3));
    EXPECT_EQ(connection.doWrite(&data), 0);
    platform.writeStatus = kIOUSBPipeStalled;
    EXPECT_EQ(connection.doWrite(&data), -1);
    EXPECT_THAT(platform.events, ElementsAre("clear stall 1"));
    platform.writeStatus = kUsbNoDevice;
    EXPECT_EQ(connection.doWrite(&data), -1);
    EXPECT_EQ(platform.events.size(), 1u);

    ASSERT_EQ(platform.writes.size(), 3u);  // no retries
    EXPECT_EQ(platform.writes[0].first, 1);
    EXPECT_THAT(platform.writes[0].second, ElementsAre(0xA5, 0x00, 0x03));
}

TEST_F(USBConnectionOpened, ReadsUpTo512BytesWithTheTwoTimeOuts) {
    platform.reads.push_back({kUsbSuccess, std::vector<unsigned char>(600, 0x42)});
    Data answer;
    EXPECT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(answer.size(), 512);
    connection.setTimeoutVal(0.2);
    platform.reads.push_back({kUsbSuccess, {1, 2, 3}});
    EXPECT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(cfftest::text(answer), "\x01\x02\x03");

    ASSERT_EQ(platform.readCalls.size(), 2u);
    EXPECT_EQ(platform.readCalls[0].pipeRef, 2);
    EXPECT_EQ(platform.readCalls[0].size, 512u);
    EXPECT_EQ(platform.readCalls[0].noDataTimeout, 200u);
    EXPECT_EQ(platform.readCalls[0].completionTimeout, 500u);  // 5.0 * 100
    EXPECT_EQ(platform.readCalls[1].completionTimeout, 20u);
}

TEST_F(USBConnectionOpened, ReadResultsByPlatformStatus) {
    struct Case {
        int status, result;
        std::vector<std::string> events;
    } cases[] = {
        {kIOUSBPipeStalled, static_cast<int>(0xE000404Fu), {"clear stall 2"}},
        {kIOUSBTransactionTimeout, -1, {}},
        {kUsbNoDevice, -1, {}},
        {kUsbSuccess, 0, {}},  // nothing read
    };
    for (const Case& c : cases) {
        platform.events.clear();
        platform.reads.push_back({c.status, {}});
        Data answer(std::string("old"));
        EXPECT_EQ(connection.doRead(answer), c.result) << c.status;
        EXPECT_EQ(platform.events, c.events) << c.status;
        EXPECT_EQ(cfftest::text(answer), "old");
    }
}

TEST_F(USBConnectionOpened, CloseGivesMinusOneEndsTransfersAndKeepsTheIds) {
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_THAT(platform.events, ElementsAre("close 7/1", "release 7/1"));
    Data data(std::string("x"));
    EXPECT_EQ(connection.doWrite(&data), 0);
    EXPECT_EQ(connection.doRead(data), -1);
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_TRUE(platform.writes.empty());
    EXPECT_TRUE(platform.readCalls.empty());
    EXPECT_EQ(platform.events.size(), 2u);  // nothing released twice

    platform.devices[0].properties.productName = "renamed";  // would no longer match
    EXPECT_EQ(connection.doOpen(), 0);
    EXPECT_EQ(platform.listCalls, 1);
}

TEST(USBConnectionLog, TracesTheUriAndReportsTheOpenAndCloseSteps) {
    TempLog log;
    log.enable();
    USBScriptedPlatform platform;
    ScriptedDevice printer = scriptedPrinter("Acme Laser 500", "ABC123");
    ScriptedInterface vendor;
    vendor.interfaceClass = 255;
    vendor.interfaceSubClass = 0;
    printer.interfaces.insert(printer.interfaces.begin(), vendor);
    platform.devices.push_back(printer);
    {
        USBConnection connection(kUri, &platform);
        ASSERT_EQ(connection.doOpen(), 0);
        EXPECT_EQ(connection.doClose(), -1);
        ASSERT_EQ(connection.doOpen(), 0);
    }
    const char* const order[] = {
        "<+USBConnection:parseDevURI+>", "<-USBConnection:parseDevURI>", "<+USBConnection:doOpen+>",
        "VID = 0x1234, PID = 0x5678", "Interface class =255, subclass =0", "This is not the Print Interface. So, Try again...",
        "Interface class =7, subclass =1", "Found the Print Interface =SUCCESS...", "Number of Pipe End Points =2",
        "PipeProperties: EndPoint =1, Direction =0, Number =1, TransferType =2, MaxPacketSize =512, Interval =0",
        "Read End point number =2, Write End point number =1", "Open Interface : Error = SUCCESS",
        "Closing Connection =TRUE", "Releasing Interface =TRUE", "Alreary found VID and PID. VID = 0x1234, PID = 0x5678"};
    std::string text = log.log();
    size_t at = 0;
    for (const char* line : order) {
        at = text.find(line, at);
        ASSERT_NE(std::string::npos, at) << line << "\n" << text;
    }
}

TEST(USBConnectionLifetime, DestructorClosesAndReleasesAnOpenInterface) {
    USBScriptedPlatform platform;
    platform.devices.push_back(scriptedPrinter("Acme Laser 500", "ABC123"));
    {
        USBConnection connection(kUri, &platform);
        ASSERT_EQ(connection.doOpen(), 0);
    }
    EXPECT_THAT(platform.events, ElementsAre("open 7/1", "close 7/1", "release 7/1"));
}

}  // namespace
