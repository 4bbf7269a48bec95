// Tests of the USB transport against a scripted registry, and of libusb against an emulated printer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "connection/LibusbPlatform.h"
#include "connection/USBConnection.h"
#include "connection/USBScriptedPlatform.h"
#include "helpers/TestUtil.h"

using testing::ElementsAre;

namespace {

const char* kUri = "usb://Acme/Laser%20500?serial=ABC123";

TEST(USBConnection, SplitsUriIntoMakeModelAndSerial) {
    const char* cases[][2] = {
        {"usb://Make%20Co/Model%20X?serial=123", "Make Co|Model X|123"},
        {"usb://Make/Model", "Make|Model|"},
        {"usb://Make/Model?serial=ab=cd", "Make|Model|ab"},        // cut at a second "="
        {"usb://Make/Model?serial=9/x", "Make|Model|9"},
        {"usb://Make/Model?serial=ABC123&interface=1", "Make|Model|ABC123"},  // the spooler's usb backend adds more
        {"usb://Make/Model=7?serial=1", "Make|Model=7|7?serial"},  // "=" counted from the start
        {"usb:", "||"},
    };
    USBScriptedPlatform platform;
    for (const auto& c : cases) {
        USBConnection connection(c[0], &platform);
        EXPECT_EQ(connection.getMake() + "|" + connection.getModel() + "|" + connection.getSerialNumber(), c[1]) << c[0];
    }
}

TEST(USBConnection, ChoosesTheDeviceWithMakeOrModelInItsNameAndTheSameSerial) {
    struct Case {
        const char *uri, *productName, *serial;
        bool hasName, hasSerial, matches;
    } cases[] = {
        {kUri, "ACME LASER 500 MFP", "ABC123", true, true, true},
        {kUri, "Acme printer", "ABC123", true, true, true},  // make alone is enough
        {kUri, "laser 500", "abc123", true, true, true},     // model alone; case ignored
        {kUri, "Other Printer", "ABC123", true, true, false},
        {kUri, "Acme Laser 500", "ABC1234", true, true, false},
        {kUri, "Acme Laser 500", "ABC123", false, true, false},
        {kUri, "Acme Laser 500", "ABC123", true, false, false},
        {"usb://Acme/Laser%20500", "Acme Laser 500", "", true, true, false},  // no serial in the URI
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.uri) + " / " + c.productName + " / " + c.serial);
        USBScriptedPlatform platform({scriptedPrinter("Unrelated", "ABC123", 1, 1),
                                      scriptedPrinter(c.productName, c.serial, 0x4aa, 0x21),
                                      scriptedPrinter("Acme Laser 500", "no", 3, 3)});
        platform.devices[1].properties.hasProductName = c.hasName;
        platform.devices[1].properties.hasSerialNumber = c.hasSerial;
        USBConnection connection(c.uri, &platform);
        EXPECT_EQ(connection.getVIDPID(), c.matches ? 0 : -1);
        EXPECT_EQ(std::make_pair(connection.getVendorID(), connection.getProductID()),
                  c.matches ? std::make_pair(0x4aa, 0x21) : std::make_pair(0, 0));
    }
}

// A hub with the printer's ids comes first; the printer's print interface comes after a vendor
// interface and one of another subclass, and lists an interrupt-in pipe after its bulk-in pipe.
TEST(USBConnection, OpensTheFirstInterfaceOfClass7Subclass1AndReleasesEveryOther) {
    ScriptedDevice hub = scriptedPrinter("Acme Laser 500", "ABC123"), printer = hub;
    hub.interfaces[0].interfaceClass = 9;
    ScriptedInterface vendor, otherSubClass;
    vendor.interfaceClass = 255;
    vendor.interfaceSubClass = 0;
    otherSubClass.interfaceSubClass = 2;
    printer.interfaces.insert(printer.interfaces.begin(), {vendor, otherSubClass});
    printer.interfaces[2].pipes = {{kUsbDirectionOut, 1, kUsbTransferBulk, 64, 0},
                                   {kUsbDirectionIn, 2, kUsbTransferBulk, 64, 0},
                                   {kUsbDirectionIn, 3, kUsbTransferInterrupt, 8, 10},
                                   {kUsbDirectionOut, 4, kUsbTransferBulk, 64, 0}};
    printer.interfaces[2].failingPipes = {4};  // skipped: pipe 1 stays the write pipe
    USBScriptedPlatform platform({hub, printer});
    {
        USBConnection connection(kUri, &platform);
        ASSERT_EQ(connection.doOpen(), 0);
        EXPECT_TRUE(connection.isOpen());
        EXPECT_EQ(connection.getWritePipe(), 1);
        EXPECT_EQ(connection.getReadPipe(), 3);  // the later in-pipe wins, whatever its type
    }
    EXPECT_THAT(platform.events, ElementsAre("release 9/1", "release 255/0", "release 7/2", "open 7/1", "close 7/1",
                                             "release 7/1"));
}

TEST(USBConnection, OpenFailsWithTenWithoutAReachablePrintInterface) {
    struct Case {
        const char* what;
        void (*script)(USBScriptedPlatform&);
    } cases[] = {
        {"plug-in fails", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].plugInStatus = kUsbNoMemory; }},
        {"no plug-in", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].givesPlugIn = false; }},
        {"query fails", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].queryStatus = kUsbError; }},
        {"no object", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].givesObject = false; }},
        {"match fails", [](USBScriptedPlatform& p) { p.matchStatus = kUsbError; }},
        {"device fails", [](USBScriptedPlatform& p) { p.devices[0].openStatus = kUsbNotPrivileged; }},
        {"no device", [](USBScriptedPlatform& p) { p.devices[0].givesDevice = false; }},
        {"interface busy", [](USBScriptedPlatform& p) { p.devices[0].interfaces[0].openStatus = kUsbBusy; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        // A print interface behind the broken one is not reached: the walk stops there.
        USBScriptedPlatform platform({scriptedPrinter("Acme Laser 500", "ABC123")});
        platform.devices[0].interfaces.push_back(platform.devices[0].interfaces[0]);
        c.script(platform);
        USBConnection connection(kUri, &platform);
        EXPECT_EQ(connection.doOpen(), 10);
        EXPECT_FALSE(connection.isOpen());
        EXPECT_EQ(connection.doWrite(nullptr), 0);
        EXPECT_TRUE(platform.writes.empty());
    }
}

TEST(USBConnection, WritesOnceReadsAtMost512BytesAndClosesOnce) {
    USBScriptedPlatform platform({scriptedPrinter("Acme Laser 500", "ABC123")});
    USBConnection connection(kUri, &platform);
    ASSERT_EQ(connection.doOpen(), 0);
    platform.events.clear();

    Data data(std::string("\xA5\x00\x03", 3)), answer;
    for (int status : {kUsbSuccess, kIOUSBPipeStalled, kUsbNoDevice}) {
        platform.writeStatus = status;
        EXPECT_EQ(connection.doWrite(&data), status == kUsbSuccess ? 0 : -1);
    }
    EXPECT_EQ(platform.writes.size(), 3u);  // no retries
    EXPECT_EQ(platform.writes[0], std::make_pair(1, std::vector<unsigned char>{0xA5, 0x00, 0x03}));

    platform.reads = {{kUsbSuccess, std::vector<unsigned char>(600, 0x42)}, {kUsbSuccess, {1, 2, 3}}};
    EXPECT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(answer.size(), 512);
    connection.setTimeoutVal(0.2);
    EXPECT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(cfftest::text(answer), "\x01\x02\x03");
    using Read = std::tuple<int, uint32_t, uint32_t, uint32_t>;  // completion: time-out * 100
    EXPECT_THAT(platform.readCalls, ElementsAre(Read{2, 512, 200, 500}, Read{2, 512, 200, 20}));
    // A stall is cleared on the pipe it happened on; nothing read leaves the answer as it was.
    for (int status : {kIOUSBPipeStalled, kIOUSBTransactionTimeout, kUsbNoDevice, kUsbSuccess}) {
        platform.reads.push_back({status, {}});
        EXPECT_EQ(connection.doRead(answer), status == kUsbSuccess ? 0 : status == kIOUSBPipeStalled ? status : -1);
        EXPECT_EQ(cfftest::text(answer), "\x01\x02\x03");
    }
    EXPECT_THAT(platform.events, ElementsAre("clear stall 1", "clear stall 2"));

    // Close gives -1 and releases once; transfers then do nothing; the ids found stay.
    platform.events.clear();
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_EQ(connection.doClose(), -1);
    EXPECT_THAT(platform.events, ElementsAre("close 7/1", "release 7/1"));
    EXPECT_EQ(connection.doWrite(&data), 0);
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_EQ(platform.writes.size(), 3u);
    EXPECT_EQ(platform.readCalls.size(), 6u);
    platform.devices[0].properties.productName = "renamed";  // would no longer match
    EXPECT_EQ(connection.doOpen(), 0);
    EXPECT_EQ(platform.listCalls, 1);
}

// A program that sets no platform (the filter) reaches no device and does not crash; one that
// sets a platform gets it for every connection made afterwards.
TEST(USBConnection, UsesTheProgramsSystemPlatformAndFindsNoDeviceWithoutOne) {
    EXPECT_EQ(USBConnection(kUri).doOpen(), -1);
    USBConnection::setSystemPlatformMaker([]() -> std::unique_ptr<UsbPlatform> {
        return std::make_unique<USBScriptedPlatform>(std::vector<ScriptedDevice>{scriptedPrinter("Acme Laser 500", "ABC123")});
    });
    USBConnection connection(kUri);
    EXPECT_EQ(connection.doOpen(), 0);
    EXPECT_TRUE(connection.isOpen());
    USBConnection::setSystemPlatformMaker(nullptr);
}

// A printer at bus 1 address 2, ids 04aa:0021. Interface 0 is a vendor interface with an
// interrupt-in pipe; interface 1 is the print interface, whose alternate setting 0 can only
// send and whose alternate setting 1 can send and receive.
const char* kMockedPrinter =
    "P: /devices/pci0000:00/0000:00:14.0/usb1/1-1\n"
    "N: bus/usb/001/002\n"
    "E: DEVNAME=/dev/bus/usb/001/002\nE: DEVTYPE=usb_device\nE: DRIVER=usb\nE: BUSNUM=001\nE: DEVNUM=002\n"
    "E: MAJOR=189\nE: MINOR=1\nE: SUBSYSTEM=usb\nA: busnum=1\nA: devnum=2\nA: idVendor=04aa\n"
    "A: idProduct=0021\nA: bConfigurationValue=1\nA: bNumConfigurations=1\nA: speed=480\n"
    "H: descriptors="
    "120100020000004" "0AA042100000101020301"
    "09024000020100C032"
    "090400000" "1FF000000" "07058303080" "00A"
    "090401000" "107010100" "07050102400000"
    "090401010" "207010200" "07050102400000" "07058202400000"
    "\n\n";

// Reruns itself inside umockdev, which gives the emulated printer to libusb.
TEST(USBLibusbPlatform, ListsAndOpensAnEmulatedPrinter) {
    if (std::getenv("CFF_TEST_INSIDE_UMOCKDEV") == nullptr) {
        if (std::system("command -v umockdev-run >/dev/null 2>&1") != 0) GTEST_SKIP() << "umockdev-run is not installed";
        std::string device = std::string(CFF_BINARY_DIR) + "/usb-mocked-printer-" + std::to_string(getpid()) + ".umockdev";
        std::ofstream(device) << kMockedPrinter;
        // umockdev preloads a library, which a sanitizer build must be told to accept.
        cfftest::rerunCurrentTest("CFF_TEST_INSIDE_UMOCKDEV=1 ASAN_OPTIONS=verify_asan_link_order=0 timeout 20 "
                                  "umockdev-run --device " + device + " --");
        std::remove(device.c_str());
        return;
    }
    LibusbPlatform platform;
    std::vector<UsbDeviceProperties> devices;
    ASSERT_EQ(platform.listDevices(devices), kUsbSuccess) << platform.setupError();
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(std::make_pair(devices[0].vendorId, devices[0].productId), std::make_pair(0x04aa, 0x0021));
    EXPECT_TRUE(devices[0].hasPrinterInterface);
    EXPECT_EQ(devices[0].location, "/dev/bus/usb/001/002");

    std::vector<std::unique_ptr<UsbDeviceEntry>> entries;
    ASSERT_EQ(platform.matchDevices(0x04aa, 0x0022, entries), kUsbSuccess);
    EXPECT_TRUE(entries.empty());
    ASSERT_EQ(platform.matchDevices(0x04aa, 0x0021, entries), kUsbSuccess);
    ASSERT_EQ(entries.size(), 1u);
    std::unique_ptr<UsbDevice> device;
    ASSERT_EQ(entries[0]->openDevice(device), kUsbSuccess);
    ASSERT_EQ(device->getInterfaceCount(), 2);
    // "class/subclass count: direction,number,type,size,interval ..."; transfers need the
    // interface taken first.
    auto describe = [&](int index) {
        std::unique_ptr<UsbInterfacePlugIn> plugIn;
        std::unique_ptr<UsbInterface> usb;
        if (device->createInterfacePlugIn(index, plugIn) != kUsbSuccess || plugIn->queryInterface(usb) != kUsbSuccess) {
            return std::string("unusable");
        }
        uint8_t klass = 0, subClass = 0, count = 0;
        usb->getInterfaceClass(klass), usb->getInterfaceSubClass(subClass), usb->getNumEndpoints(count);
        std::string text = std::to_string(klass) + "/" + std::to_string(subClass) + " " + std::to_string(count) + ":";
        UsbPipeProperties p;
        for (uint8_t ref = 1; usb->getPipeProperties(ref, p) == kUsbSuccess; ++ref) {
            for (int field : {p.direction, p.number, p.transferType, p.maxPacketSize, p.interval}) text += " " + std::to_string(field);
        }
        unsigned char byte = 0;
        return usb->writePipe(1, &byte, 1) == kUsbSuccess ? text + " (written)" : text;
    };
    EXPECT_EQ(describe(0), "255/0 1: 1 3 3 8 10");
    EXPECT_EQ(describe(1), "7/1 2: 0 1 2 64 0 1 2 2 64 0");
}

}  // namespace
