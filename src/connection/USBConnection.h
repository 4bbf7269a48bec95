// USBConnection: the direct transport to a printer's USB print interface.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "connection/Connection.h"

class UsbPlatform;
class UsbDevice;
class UsbInterface;
struct UsbDeviceProperties;

class USBConnection : public Connection {
public:
    // Keeps |uri| and parses it; nothing touches the device until doOpen.
    explicit USBConnection(std::string uri);
    // The same on |platform| (not owned; must outlive the connection).
    USBConnection(std::string uri, UsbPlatform* platform);
    ~USBConnection() override;

    // Makes the platform that connections built without one use. Programs that talk to USB
    // devices themselves set it (cffquery sets libusb's); without it such connections find no
    // device. The filter reaches USB printers only through the backend's channels, so it
    // leaves this unset and does not load the USB library.
    using PlatformMaker = std::unique_ptr<UsbPlatform> (*)();
    static void setSystemPlatformMaker(PlatformMaker maker);

    // Finds the printer and opens its print interface: 0, -1 when it is not attached,
    // 10 when it cannot be opened.
    int doOpen() override;
    // Closes and releases the interface; always -1, which callers must not treat as an error.
    int doClose() override;
    // Sends the whole request in one transfer: 0 on success or when not open, else -1.
    int doWrite(Data* request) override;
    // Reads at most 512 bytes into |answer|: 0 (also when nothing came), kIOUSBPipeStalled
    // for a stalled pipe, else -1.
    int doRead(Data& answer) override;

    // Fills make, model and serial number from a URI of the form
    // usb://Make/Model?serial=Number ("%20" read as a space).
    void parseDevURI(std::string uri);
    // Finds the vendor and product ids of the printer that the URI names: 0 or -1.
    int getVIDPID();
    // Opens the print interface of the device with the found ids and picks the pipes: 0 or 10.
    int openUSBDeviceInterface();
    // Keeps the first print interface (class 7, subclass 1) of |device|; the platform status.
    int getPrintInterface(UsbDevice* device);

    // True when |device| is the printer that the URI names: the product name holds the
    // make or the model (ignoring case) and the serial numbers agree (ignoring case).
    bool matchesDevice(const UsbDeviceProperties& device) const;

    const std::string& getMake() const { return make_; }
    const std::string& getModel() const { return model_; }
    const std::string& getSerialNumber() const { return serialNumber_; }
    int getVendorID() const { return vendorID_; }
    int getProductID() const { return productID_; }
    bool isOpen() const { return open_; }
    uint8_t getReadPipe() const { return readPipe_; }
    uint8_t getWritePipe() const { return writePipe_; }

private:
    // The platform in use: the given one, or the system's, made on first use.
    UsbPlatform* platform();

    std::string deviceURI_;
    int vendorID_ = 0;
    int productID_ = 0;
    std::string serialNumber_;
    std::string make_;
    std::string model_;
    std::unique_ptr<UsbInterface> interface_;
    bool open_ = false;
    uint8_t writePipe_ = 0;
    uint8_t readPipe_ = 0;

    UsbPlatform* platform_ = nullptr;
    std::unique_ptr<UsbPlatform> ownedPlatform_;
    // The last platform status, returned when an operation is cut short by an exception.
    int lastStatus_ = 0;
};
