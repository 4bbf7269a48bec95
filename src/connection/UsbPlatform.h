// UsbPlatform: the operating system's USB operations that the USB transport needs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Platform status codes: 0 is success, everything else a failure. The two pipe codes are
// recognised by value by the transport; the others only need to be distinct and non-zero.
constexpr int kUsbSuccess = 0;
constexpr int kUsbError = static_cast<int>(0xE00002BCu);           // general failure
constexpr int kUsbNoDevice = static_cast<int>(0xE00002C0u);        // the device has gone
constexpr int kUsbNotPrivileged = static_cast<int>(0xE00002C1u);   // no permission on the device node
constexpr int kUsbNoMemory = static_cast<int>(0xE00002BDu);
constexpr int kUsbBusy = static_cast<int>(0xE00002D5u);            // another program holds the interface
constexpr int kUsbNotAvailable = static_cast<int>(0xE00002D0u);    // USB access could not be set up at all
constexpr int kIOUSBPipeStalled = static_cast<int>(0xE000404Fu);
constexpr int kIOUSBTransactionTimeout = static_cast<int>(0xE0004051u);

// Pipe directions and transfer types as the platform reports them.
constexpr int kUsbDirectionOut = 0;
constexpr int kUsbDirectionIn = 1;
constexpr int kUsbTransferControl = 0;
constexpr int kUsbTransferIsochronous = 1;
constexpr int kUsbTransferBulk = 2;
constexpr int kUsbTransferInterrupt = 3;

// What the device registry tells about one attached device.
struct UsbDeviceProperties {
    bool hasProductName = false;
    std::string productName;
    bool hasSerialNumber = false;
    std::string serialNumber;
    int vendorId = 0;
    int productId = 0;
    // True when one of the device's interfaces has the printer class (7).
    bool hasPrinterInterface = false;
    // Status of opening the device to read its texts; kUsbNotPrivileged when the
    // permissions of the device node forbid it (the texts are then missing).
    int accessStatus = kUsbSuccess;
    // Where the device lives, for messages (a device node path where there is one).
    std::string location;
};

struct UsbPipeProperties {
    int direction = 0;     // kUsbDirectionOut or kUsbDirectionIn
    int number = 0;        // endpoint number
    int transferType = 0;  // kUsbTransferControl .. kUsbTransferInterrupt
    int maxPacketSize = 0;
    int interval = 0;
};

// An opened-for-use interface object. Destroying it releases it.
class UsbInterface {
public:
    virtual ~UsbInterface() = default;

    virtual int getInterfaceClass(uint8_t& interfaceClass) = 0;
    virtual int getInterfaceSubClass(uint8_t& interfaceSubClass) = 0;
    // Takes the interface for this program, and gives it back.
    virtual int open() = 0;
    virtual int close() = 0;
    // Pipes are numbered 1..count; 0 is the control pipe.
    virtual int getNumEndpoints(uint8_t& count) = 0;
    virtual int getPipeProperties(uint8_t pipeRef, UsbPipeProperties& properties) = 0;
    // One synchronous transfer of |size| bytes, with no time-out.
    virtual int writePipe(uint8_t pipeRef, const unsigned char* bytes, uint32_t size) = 0;
    // One synchronous read of at most |size| bytes; |size| then holds the count read.
    // |noDataTimeout| bounds the wait between bytes and |completionTimeout| the whole
    // transfer, both in milliseconds. kIOUSBTransactionTimeout when time runs out.
    virtual int readPipe(uint8_t pipeRef, unsigned char* buffer, uint32_t& size,
                         uint32_t noDataTimeout, uint32_t completionTimeout) = 0;
    virtual int clearPipeStall(uint8_t pipeRef) = 0;
};

// The first step towards an interface object, as the registry hands it out.
// Destroying it destroys the plug-in.
class UsbInterfacePlugIn {
public:
    virtual ~UsbInterfacePlugIn() = default;
    // The interface object; 0 and null is "no object".
    virtual int queryInterface(std::unique_ptr<UsbInterface>& usbInterface) = 0;
};

// An opened device object. Destroying it releases it.
class UsbDevice {
public:
    virtual ~UsbDevice() = default;
    // Number of interfaces of the device's current configuration.
    virtual int getInterfaceCount() = 0;
    // The plug-in for interface |index| (0-based); 0 and null is "no plug-in".
    virtual int createInterfacePlugIn(int index, std::unique_ptr<UsbInterfacePlugIn>& plugIn) = 0;
};

// One entry of the device registry. Destroying it releases it.
class UsbDeviceEntry {
public:
    virtual ~UsbDeviceEntry() = default;
    // The device object for this entry; 0 and null is "no device".
    virtual int openDevice(std::unique_ptr<UsbDevice>& device) = 0;
};

class UsbPlatform {
public:
    virtual ~UsbPlatform() = default;
    // Every attached USB device with its properties, in registry order.
    virtual int listDevices(std::vector<UsbDeviceProperties>& devices) = 0;
    // Registry entries of the devices with these ids.
    virtual int matchDevices(int vendorId, int productId,
                             std::vector<std::unique_ptr<UsbDeviceEntry>>& entries) = 0;
    // Why USB access could not be set up (after kUsbNotAvailable), or "".
    virtual std::string setupError() const { return ""; }
};
