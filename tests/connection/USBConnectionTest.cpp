// Tests of the USB transport against a scripted device registry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "connection/USBConnection.h"
#include "connection/USBScriptedPlatform.h"

using testing::ElementsAre;

namespace {

const char* kUri = "usb://Acme/Laser%20500?serial=ABC123";

std::vector<unsigned char> bytesOf(const Data& data) {
    return std::vector<unsigned char>(data.get(), data.get() + data.size());
}

TEST(USBConnectionURI, SplitsMakeModelAndSerial) {
    struct Case {
        const char* uri;
        const char* make;
        const char* model;
        const char* serial;
    } cases[] = {
        {"usb://Make/Model%20X?serial=123", "Make", "Model X", "123"},
        {"usb://Make%20Co/Model", "Make Co", "Model", ""},            // no "?": whole component
        {"usb://Make/Model?serial", "Make", "Model", ""},             // no "=": no serial
        {"usb://Make/Model?serial=ab=cd", "Make", "Model", "ab"},     // cut at a second "="
        {"usb://Make/Model=7?serial=1", "Make", "Model=7", "7?serial"},  // "=" counted from the start
        {"usb://Make/Model?serial=9/extra", "Make", "Model", "9"},
        {"usb://Make", "Make", "", ""},
        {"usb:", "", "", ""},
    };
    USBScriptedPlatform platform;
    for (const Case& c : cases) {
        USBConnection connection(c.uri, &platform);
        SCOPED_TRACE(c.uri);
        EXPECT_EQ(connection.getMake(), c.make);
        EXPECT_EQ(connection.getModel(), c.model);
        EXPECT_EQ(connection.getSerialNumber(), c.serial);
    }
}

TEST(USBConnectionMatching, NeedsMakeOrModelInProductNameAndTheSameSerial) {
    struct Case {
        const char* uri;
        const char* productName;
        const char* serial;
        bool matches;
    } cases[] = {
        {kUri, "ACME LASER 500 MFP", "ABC123", true},
        {kUri, "Acme printer", "ABC123", true},          // make alone is enough
        {kUri, "laser 500", "ABC123", true},             // model alone, other case
        {kUri, "Other Printer", "ABC123", false},
        {kUri, "Acme Laser 500", "abc123", true},        // serial ignores case
        {kUri, "Acme Laser 500", "ABC1234", false},
        {"usb://Acme/Laser%20500", "Acme Laser 500", "", false},  // no serial in the URI
        {"usb://Acme/Laser%20500?serial", "Acme Laser 500", "", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.uri) + " / " + c.productName + " / " + c.serial);
        USBScriptedPlatform platform;
        platform.devices.push_back(scriptedPrinter(c.productName, c.serial, 0x4aa, 0x21));
        USBConnection connection(c.uri, &platform);
        EXPECT_EQ(connection.getVIDPID(), c.matches ? 0 : -1);
        EXPECT_EQ(connection.getVendorID(), c.matches ? 0x4aa : 0);
        EXPECT_EQ(connection.getProductID(), c.matches ? 0x21 : 0);
    }
}

TEST(USBConnectionMatching, SkipsDevicesWithoutNameOrSerialAndTakesTheFirstMatch) {
    USBScriptedPlatform platform;
    ScriptedDevice unnamed = scriptedPrinter("", "ABC123", 1, 1);
    unnamed.properties.hasProductName = false;
    ScriptedDevice noSerial = scriptedPrinter("Acme Laser 500", "", 2, 2);
    noSerial.properties.hasSerialNumber = false;
    platform.devices = {unnamed, noSerial, scriptedPrinter("Acme Laser 500", "abc123", 3, 3),
                        scriptedPrinter("Acme Laser 500", "ABC123", 4, 4)};
    USBConnection connection(kUri, &platform);
    EXPECT_EQ(connection.getVIDPID(), 0);
    EXPECT_EQ(connection.getVendorID(), 3);
}

TEST(USBConnectionMatching, RegistryFailureIsNotFound) {
    USBScriptedPlatform platform;
    platform.devices.push_back(scriptedPrinter("Acme Laser 500", "ABC123"));
    platform.listStatus = kUsbNotAvailable;
    USBConnection connection(kUri, &platform);
    EXPECT_EQ(connection.doOpen(), -1);
    EXPECT_FALSE(connection.isOpen());
}

TEST(USBConnectionOpen, KeepsThePrintInterfaceAfterAVendorInterface) {
    USBScriptedPlatform platform;
    ScriptedDevice printer = scriptedPrinter("Acme Laser 500", "ABC123");
    ScriptedInterface vendor;
    vendor.interfaceClass = 255;
    vendor.interfaceSubClass = 0;
    printer.interfaces.insert(printer.interfaces.begin(), vendor);
    platform.devices.push_back(printer);

    USBConnection connection(kUri, &platform);
    ASSERT_EQ(connection.doOpen(), 0);
    EXPECT_TRUE(connection.isOpen());
    EXPECT_THAT(platform.events, ElementsAre("release 255/0", "open 7/1"));
    EXPECT_EQ(connection.getWritePipe(), 1);
    EXPECT_EQ(connection.getReadPipe(), 2);
}

TEST(USBConnectionOpen, FailsWithTenWhenNoInterfaceIsAPrinterInterface) {
    struct Case {
        const char* what;
        void (*script)(ScriptedInterface&);
        int printStatus;  // getPrintInterface's result for the device
    } cases[] = {
        {"subclass 2", [](ScriptedInterface& s) { s.interfaceSubClass = 2; }, 0},
        {"class 8", [](ScriptedInterface& s) { s.interfaceClass = 8; }, 0},
        {"plug-in fails", [](ScriptedInterface& s) { s.plugInStatus = kUsbNoMemory; }, kUsbNoMemory},
        {"no plug-in", [](ScriptedInterface& s) { s.givesPlugIn = false; }, 0},
        {"query fails", [](ScriptedInterface& s) { s.queryStatus = kUsbError; }, 0},
        {"no object", [](ScriptedInterface& s) { s.givesObject = false; }, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        USBScriptedPlatform platform;
        ScriptedDevice printer = scriptedPrinter("Acme Laser 500", "ABC123");
        c.script(printer.interfaces[0]);
        platform.devices.push_back(printer);
        USBConnection connection(kUri, &platform);
        EXPECT_EQ(connection.doOpen(), 10);
        EXPECT_FALSE(connection.isOpen());
        EXPECT_EQ(connection.doWrite(nullptr), 0);
        EXPECT_TRUE(platform.writes.empty());

        std::vector<std::unique_ptr<UsbDeviceEntry>> entries;
        std::unique_ptr<UsbDevice> device;
        platform.matchDevices(0x1234, 0x5678, entries);
        ASSERT_EQ(entries.at(0)->openDevice(device), 0);
        EXPECT_EQ(connection.getPrintInterface(device.get()), c.printStatus);
    }
}

TEST(USBConnectionOpen, StopsLookingAtAnInterfaceThatCannotBeReached) {
    // A failed plug-in or query ends the walk: the print interface behind it is not found.
    for (bool failPlugIn : {true, false}) {
        USBScriptedPlatform platform;
        ScriptedDevice printer = scriptedPrinter("Acme Laser 500", "ABC123");
        ScriptedInterface broken;
        broken.interfaceClass = 255;
        if (failPlugIn) {
            broken.plugInStatus = kUsbError;
        } else {
            broken.queryStatus = kUsbError;
        }
        printer.interfaces.insert(printer.interfaces.begin(), broken);
        platform.devices.push_back(printer);
        USBConnection connection(kUri, &platform);
        EXPECT_EQ(connection.doOpen(), 10) << failPlugIn;
        EXPECT_TRUE(platform.events.empty()) << failPlugIn;
    }
}

TEST(USBConnectionOpen, MovesOnToTheNextDeviceWithTheSameIds) {
    USBScriptedPlatform platform;
    ScriptedDevice hub = scriptedPrinter("Acme Laser 500", "ABC123");
    hub.interfaces[0].interfaceClass = 9;
    platform.devices = {hub, scriptedPrinter("Acme Laser 500", "ABC123")};
    USBConnection connection(kUri, &platform);
    EXPECT_EQ(connection.doOpen(), 0);
    EXPECT_THAT(platform.events, ElementsAre("release 9/1", "open 7/1"));
}

TEST(USBConnectionOpen, AnyPlatformFailureOnTheWayGivesTen) {
    struct Case {
        const char* what;
        void (*script)(USBScriptedPlatform&);
    } cases[] = {
        {"match fails", [](USBScriptedPlatform& p) { p.matchStatus = kUsbError; }},
        {"device fails", [](USBScriptedPlatform& p) { p.devices[0].openStatus = kUsbNotPrivileged; }},
        {"no device", [](USBScriptedPlatform& p) { p.devices[0].givesDevice = false; }},
        {"interface open fails", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].openStatus = kUsbBusy; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        USBScriptedPlatform platform;
        // A second, healthy device is never reached once the first cannot be opened.
        platform.devices = {scriptedPrinter("Acme Laser 500", "ABC123"),
                            scriptedPrinter("Acme Laser 500", "ABC123")};
        c.script(platform);
        USBConnection connection(kUri, &platform);
        EXPECT_EQ(connection.doOpen(), 10);
        EXPECT_FALSE(connection.isOpen());
    }
}

TEST(USBConnectionOpen, LaterPipesOverwriteEarlierOnesWhateverTheirType) {
    USBScriptedPlatform platform;
    ScriptedDevice printer = scriptedPrinter("Acme Laser 500", "ABC123");
    printer.interfaces[0].pipes = {{kUsbDirectionOut, 1, kUsbTransferBulk, 64, 0},
                                   {kUsbDirectionIn, 2, kUsbTransferBulk, 64, 0},
                                   {kUsbDirectionIn, 3, kUsbTransferInterrupt, 8, 10},
                                   {kUsbDirectionOut, 4, kUsbTransferBulk, 64, 0}};
    printer.interfaces[0].failingPipes = {4};  // skipped: pipe 1 stays the write pipe
    platform.devices.push_back(printer);
    USBConnection connection(kUri, &platform);
    ASSERT_EQ(connection.doOpen(), 0);
    EXPECT_EQ(connection.getReadPipe(), 3);
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

TEST_F(USBConnectionOpened, WritesTheWholeBufferOnTheWritePipe) {
    const unsigned char request[] = {0xA5, 0x00, 0x03, 0x10};
    Data data(request, sizeof request);
    EXPECT_EQ(connection.doWrite(&data), 0);
    ASSERT_EQ(platform.writes.size(), 1u);
    EXPECT_EQ(platform.writes[0].first, 1);
    EXPECT_THAT(platform.writes[0].second, ElementsAre(0xA5, 0x00, 0x03, 0x10));
}

TEST_F(USBConnectionOpened, WriteFailuresGiveMinusOneAndAStallIsCleared) {
    Data data(std::string("x"));
    platform.writeStatus = kIOUSBPipeStalled;
    EXPECT_EQ(connection.doWrite(&data), -1);
    EXPECT_THAT(platform.events, ElementsAre("clear stall 1"));

    platform.events.clear();
    platform.writeStatus = kUsbNoDevice;
    EXPECT_EQ(connection.doWrite(&data), -1);
    EXPECT_TRUE(platform.events.empty());
    EXPECT_EQ(platform.writes.size(), 2u);  // no retry
}

TEST_F(USBConnectionOpened, ReadsUpTo512BytesWithTheTwoTimeOuts) {
    platform.reads.push_back({kUsbSuccess, std::vector<unsigned char>(600, 0x42)});
    Data answer;
    EXPECT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(answer.size(), 512);
    ASSERT_EQ(platform.readCalls.size(), 1u);
    EXPECT_EQ(platform.readCalls[0].pipeRef, 2);
    EXPECT_EQ(platform.readCalls[0].size, 512u);
    EXPECT_EQ(platform.readCalls[0].noDataTimeout, 200u);
    EXPECT_EQ(platform.readCalls[0].completionTimeout, 500u);  // 5.0 * 100

    connection.setTimeoutVal(0.2);
    platform.reads.push_back({kUsbSuccess, {1, 2, 3}});
    EXPECT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(platform.readCalls[1].completionTimeout, 20u);
    EXPECT_THAT(bytesOf(answer), ElementsAre(1, 2, 3));
}

TEST_F(USBConnectionOpened, ReadResultsByPlatformStatus) {
    struct Case {
        int status;
        int result;
        std::vector<std::string> events;
    } cases[] = {
        {kIOUSBPipeStalled, static_cast<int>(0xE000404Fu), {"clear stall 2"}},
        {kIOUSBTransactionTimeout, -1, {}},
        {kUsbNoDevice, -1, {}},
        {kUsbSuccess, 0, {}},  // nothing read
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.status);
        platform.events.clear();
        platform.reads.push_back({c.status, {}});
        Data answer(std::string("old"));
        EXPECT_EQ(connection.doRead(answer), c.result);
        EXPECT_EQ(platform.events, c.events);
        EXPECT_THAT(bytesOf(answer), ElementsAre('o', 'l', 'd'));
    }
}

TEST_F(USBConnectionOpened, CloseAlwaysGivesMinusOneAndEndsTransfers) {
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_THAT(platform.events, ElementsAre("close 7/1", "release 7/1"));
    EXPECT_FALSE(connection.isOpen());

    Data data(std::string("x"));
    EXPECT_EQ(connection.doWrite(&data), 0);
    Data answer;
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_TRUE(platform.writes.empty());
    EXPECT_TRUE(platform.readCalls.empty());
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_EQ(platform.events.size(), 2u);  // nothing released twice
}

TEST_F(USBConnectionOpened, SecondOpenUsesTheIdsFoundBefore) {
    connection.doClose();
    platform.devices[0].properties.productName = "renamed";  // would no longer match
    EXPECT_EQ(connection.doOpen(), 0);
    EXPECT_EQ(platform.listCalls, 1);
    EXPECT_TRUE(connection.isOpen());
}

TEST(USBConnectionLifetime, DestructorClosesAndReleasesAnOpenInterface) {
    USBScriptedPlatform platform;
    platform.devices.push_back(scriptedPrinter("Acme Laser 500", "ABC123"));
    {
        USBConnection connection(kUri, &platform);
        ASSERT_EQ(connection.doOpen(), 0);
        platform.events.clear();
    }
    EXPECT_THAT(platform.events, ElementsAre("close 7/1", "release 7/1"));
}

TEST(USBConnectionLifetime, ReadBeforeOpenFailsWithoutTouchingTheDevice) {
    USBScriptedPlatform platform;
    platform.devices.push_back(scriptedPrinter("Acme Laser 500", "ABC123"));
    USBConnection connection(kUri, &platform);
    Data answer;
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_EQ(platform.listCalls, 0);
}

}  // namespace
