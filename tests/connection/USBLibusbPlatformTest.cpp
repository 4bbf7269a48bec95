// Tests of the libusb platform layer: its status mapping, and its reading of a printer's
// descriptors from a device emulated by umockdev.
#include <gtest/gtest.h>
#include <libusb.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "connection/LibusbPlatform.h"
#include "helpers/TestUtil.h"

namespace {

const char* kInnerRunVariable = "CFF_TEST_INSIDE_UMOCKDEV";

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

TEST(USBLibusbPlatform, MapsLibusbErrorsOntoPlatformStatuses) {
    struct Case {
        int error, status;
    } cases[] = {
        {LIBUSB_SUCCESS, kUsbSuccess},
        {LIBUSB_ERROR_PIPE, kIOUSBPipeStalled},
        {LIBUSB_ERROR_TIMEOUT, kIOUSBTransactionTimeout},
        {LIBUSB_ERROR_ACCESS, kUsbNotPrivileged},
        {LIBUSB_ERROR_NO_DEVICE, kUsbNoDevice},
        {LIBUSB_ERROR_BUSY, kUsbBusy},
        {LIBUSB_ERROR_IO, kUsbError},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(LibusbPlatform::statusFromLibusb(c.error), c.status) << libusb_error_name(c.error);
    }
}

// Runs the checks below inside umockdev, which gives the emulated printer to libusb.
TEST(USBLibusbPlatform, ReadsTheDescriptorsOfAnEmulatedPrinter) {
    if (std::system("command -v umockdev-run >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "umockdev-run is not installed (Debian package umockdev)";
    }
    std::string base = std::string(CFF_BINARY_DIR) + "/usb-mocked-printer-" + std::to_string(getpid());
    std::ofstream(base + ".umockdev") << kMockedPrinter;
    // umockdev works by preloading a library, which a sanitizer build must be told to accept.
    std::string command = std::string(kInnerRunVariable) +
                          "=1 ASAN_OPTIONS=verify_asan_link_order=0 timeout 20 umockdev-run --device " + base +
                          ".umockdev -- " + cfftest::selfPath() +
                          " --gtest_filter='USBLibusbPlatformEmulated.*' >" + base + ".out 2>&1";
    int status = std::system(command.c_str());
    std::stringstream output;
    output << std::ifstream(base + ".out").rdbuf();
    std::remove((base + ".umockdev").c_str());
    std::remove((base + ".out").c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << output.str();
    EXPECT_NE(output.str().find("[  PASSED  ] 1 test"), std::string::npos) << output.str();
}

TEST(USBLibusbPlatformEmulated, ListsAndOpensThePrinter) {
    if (std::getenv(kInnerRunVariable) == nullptr) {
        GTEST_SKIP() << "runs only inside umockdev, started by ReadsTheDescriptorsOfAnEmulatedPrinter";
    }
    LibusbPlatform platform;
    std::vector<UsbDeviceProperties> devices;
    ASSERT_EQ(platform.listDevices(devices), kUsbSuccess) << platform.setupError();
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(devices[0].vendorId, 0x04aa);
    EXPECT_EQ(devices[0].productId, 0x0021);
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

    struct Expected {
        int interfaceClass, interfaceSubClass;
        std::vector<UsbPipeProperties> pipes;
    } expected[] = {
        {255, 0, {{kUsbDirectionIn, 3, kUsbTransferInterrupt, 8, 10}}},
        {7, 1, {{kUsbDirectionOut, 1, kUsbTransferBulk, 64, 0}, {kUsbDirectionIn, 2, kUsbTransferBulk, 64, 0}}},
    };
    for (int index = 0; index < 2; ++index) {
        SCOPED_TRACE(index);
        std::unique_ptr<UsbInterfacePlugIn> plugIn;
        ASSERT_EQ(device->createInterfacePlugIn(index, plugIn), kUsbSuccess);
        std::unique_ptr<UsbInterface> usbInterface;
        ASSERT_EQ(plugIn->queryInterface(usbInterface), kUsbSuccess);
        uint8_t interfaceClass = 0, interfaceSubClass = 0, count = 0;
        usbInterface->getInterfaceClass(interfaceClass);
        usbInterface->getInterfaceSubClass(interfaceSubClass);
        usbInterface->getNumEndpoints(count);
        EXPECT_EQ(std::make_pair(int(interfaceClass), int(interfaceSubClass)),
                  std::make_pair(expected[index].interfaceClass, expected[index].interfaceSubClass));
        ASSERT_EQ(count, expected[index].pipes.size());
        for (uint8_t pipeRef = 1; pipeRef <= count; ++pipeRef) {
            UsbPipeProperties pipe;
            ASSERT_EQ(usbInterface->getPipeProperties(pipeRef, pipe), kUsbSuccess);
            auto fields = [](const UsbPipeProperties& p) {
                return std::make_tuple(p.direction, p.number, p.transferType, p.maxPacketSize, p.interval);
            };
            EXPECT_EQ(fields(pipe), fields(expected[index].pipes[pipeRef - 1]));
        }
        UsbPipeProperties pipe;
        EXPECT_NE(usbInterface->getPipeProperties(static_cast<uint8_t>(count + 1), pipe), kUsbSuccess);
        // Transfers need the interface taken first.
        unsigned char byte = 0;
        EXPECT_NE(usbInterface->writePipe(1, &byte, 1), kUsbSuccess);
    }
}

}  // namespace
