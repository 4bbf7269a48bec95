// USBConnection: the direct transport to a printer's USB print interface.
#include "connection/USBConnection.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

#include "connection/UsbPlatform.h"
#include "support/Logger.h"

namespace {

// The system's platform in a program that set none: USB cannot be reached.
class NoUsbPlatform : public UsbPlatform {
public:
    int listDevices(std::vector<UsbDeviceProperties>& devices) override {
        devices.clear();
        return kUsbNotAvailable;
    }
    int matchDevices(int, int, std::vector<std::unique_ptr<UsbDeviceEntry>>& entries) override {
        entries.clear();
        return kUsbNotAvailable;
    }
    std::string setupError() const override { return "this program has no USB access"; }
};

USBConnection::PlatformMaker& systemPlatformMaker() {
    static USBConnection::PlatformMaker maker = nullptr;
    return maker;
}

constexpr int kStatusFailure = -1;
constexpr int kStatusNotOpened = 10;
constexpr int kPrinterClass = 7;
constexpr int kPrinterSubClass = 1;
constexpr int kReadBufferSize = 512;
constexpr uint32_t kNoDataTimeoutMs = 200;

// Replaces every |from| in |text| with |to|.
std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    size_t at = 0;
    while ((at = text.find(from, at)) != std::string::npos) {
        text.replace(at, from.size(), to);
        at += to.size();
    }
    return text;
}

// The pieces of |text| between the separators, empty pieces included.
std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    size_t start = 0;
    for (;;) {
        size_t end = text.find(separator, start);
        if (end == std::string::npos) {
            pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// True when |haystack| contains the non-empty |needle|, ignoring case.
bool containsIgnoringCase(const std::string& haystack, const std::string& needle) {
    if (needle.empty()) {
        return false;
    }
    return lowerCase(haystack).find(lowerCase(needle)) != std::string::npos;
}

}  // namespace

USBConnection::USBConnection(std::string uri) : USBConnection(std::move(uri), nullptr) {}

USBConnection::USBConnection(std::string uri, UsbPlatform* platform)
    : deviceURI_(std::move(uri)), platform_(platform) {
    parseDevURI(deviceURI_);
}

USBConnection::~USBConnection() {
    try {
        if (interface_) {
            if (open_) {
                interface_->close();
            }
            interface_.reset();
        }
    } catch (...) {
    }
}

void USBConnection::setSystemPlatformMaker(PlatformMaker maker) { systemPlatformMaker() = maker; }

UsbPlatform* USBConnection::platform() {
    if (platform_ == nullptr) {
        PlatformMaker maker = systemPlatformMaker();
        ownedPlatform_ = maker != nullptr ? maker() : nullptr;
        if (ownedPlatform_ == nullptr) ownedPlatform_ = std::make_unique<NoUsbPlatform>();
        platform_ = ownedPlatform_.get();
    }
    return platform_;
}

void USBConnection::parseDevURI(std::string uri) {
    Logger logger("USBConnection", "parseDevURI");
    try {
        std::string text = replaceAll(uri, "%20", " ");
        std::vector<std::string> components = split(text, '/');
        if (components.size() < 3) {
            return;
        }
        make_ = components[2];
        if (components.size() < 4) {
            return;
        }
        const std::string& last = components[3];
        model_ = split(last, '?')[0];
        // The serial number is read from the whole component, so a value holding a second
        // "=" is cut there. Intended: device URIs already stored in queues rely on this reading.
        // The spooler's usb backend writes further parameters after the serial number
        // ("?serial=ABC123&interface=1"); the number ends at the "&" that starts them.
        std::vector<std::string> pieces = split(last, '=');
        if (pieces.size() >= 2) {
            serialNumber_ = split(pieces[1], '&')[0];
        }
    } catch (...) {
        // The fields set so far stay; the rest stay empty.
    }
}

bool USBConnection::matchesDevice(const UsbDeviceProperties& device) const {
    if (!device.hasProductName) {
        return false;
    }
    if (!containsIgnoringCase(device.productName, model_) &&
        !containsIgnoringCase(device.productName, make_)) {
        return false;
    }
    // A URI without a serial number names no device.
    if (!device.hasSerialNumber || serialNumber_.empty()) {
        return false;
    }
    return lowerCase(device.serialNumber) == lowerCase(serialNumber_);
}

int USBConnection::getVIDPID() {
    Logger logger("USBConnection", "getVIDPID");
    try {
        if (vendorID_ > 0 && productID_ > 0) {
            logger.Log("Alreary found VID and PID. VID = 0x%x, PID = 0x%x", vendorID_, productID_);
            return 0;
        }
        std::vector<UsbDeviceProperties> devices;
        lastStatus_ = platform()->listDevices(devices);
        if (lastStatus_ != kUsbSuccess) {
            return kStatusFailure;
        }
        for (const UsbDeviceProperties& device : devices) {
            if (!matchesDevice(device)) {
                continue;
            }
            vendorID_ = device.vendorId;
            productID_ = device.productId;
            logger.Log("VID = 0x%x, PID = 0x%x", vendorID_, productID_);
            return 0;
        }
        return kStatusFailure;
    } catch (...) {
        logger.Log("Get VID PID : Error = %s", "Exception.....");
        return kStatusFailure;
    }
}

int USBConnection::openUSBDeviceInterface() {
    Logger logger("USBConnection", "openUSBDeviceInterface");
    try {
        open_ = false;
        std::vector<std::unique_ptr<UsbDeviceEntry>> entries;
        lastStatus_ = platform()->matchDevices(vendorID_, productID_, entries);
        if (lastStatus_ != kUsbSuccess) {
            return kStatusNotOpened;
        }
        bool found = false;
        for (std::unique_ptr<UsbDeviceEntry>& entry : entries) {
            std::unique_ptr<UsbDevice> device;
            lastStatus_ = entry->openDevice(device);
            entry.reset();
            if (lastStatus_ != kUsbSuccess || !device) {
                return kStatusNotOpened;
            }
            int result = getPrintInterface(device.get());
            device.reset();
            if (result == kUsbSuccess && interface_) {
                found = true;
                break;
            }
        }
        if (!found) {
            return kStatusNotOpened;
        }

        lastStatus_ = interface_->open();
        if (lastStatus_ != kUsbSuccess) {
            open_ = false;
            logger.Log("Open Interface : Error = %s", "FAIL");
            return kStatusNotOpened;
        }

        uint8_t pipeCount = 0;
        lastStatus_ = interface_->getNumEndpoints(pipeCount);
        logger.Log("Number of Pipe End Points =%d", pipeCount);
        for (int pipeRef = 1; pipeRef <= pipeCount; ++pipeRef) {
            UsbPipeProperties pipe;
            if (interface_->getPipeProperties(static_cast<uint8_t>(pipeRef), pipe) != kUsbSuccess) {
                continue;
            }
            logger.Log("PipeProperties: EndPoint =%d, Direction =%d, Number =%d, TransferType =%d, "
                       "MaxPacketSize =%d, Interval =%d",
                       pipeRef, pipe.direction, pipe.number, pipe.transferType, pipe.maxPacketSize,
                       pipe.interval);
            // The transfer type is not checked and a later pipe overwrites an earlier one, so
            // an interrupt-in pipe listed after the bulk-in pipe becomes the read pipe. Intended:
            // the pipe choice stays the one that the NPA dialogue was brought up with.
            if (pipe.direction == kUsbDirectionIn) {
                readPipe_ = static_cast<uint8_t>(pipeRef);
            } else if (pipe.direction == kUsbDirectionOut) {
                writePipe_ = static_cast<uint8_t>(pipeRef);
            }
        }
        logger.Log("Read End point number =%d, Write End point number =%d", readPipe_, writePipe_);
        open_ = true;
        logger.Log("Open Interface : Error = %s", "SUCCESS");
        return 0;
    } catch (...) {
        logger.Log("Open Interface : Error = %s", "Exception.....");
        return kStatusNotOpened;
    }
}

int USBConnection::getPrintInterface(UsbDevice* device) {
    Logger logger("USBConnection", "getPrintInterface");
    if (device == nullptr) {
        return kUsbError;
    }
    int status = kUsbSuccess;
    try {
        int count = device->getInterfaceCount();
        for (int index = 0; index < count; ++index) {
            interface_.reset();
            std::unique_ptr<UsbInterfacePlugIn> plugIn;
            status = device->createInterfacePlugIn(index, plugIn);
            if (status != kUsbSuccess || !plugIn) {
                logger.Log("Unable to create a plug-in (%08x)", static_cast<unsigned>(status));
                break;
            }
            std::unique_ptr<UsbInterface> candidate;
            status = plugIn->queryInterface(candidate);
            plugIn.reset();
            if (status != kUsbSuccess) {
                logger.Log("Couldn\xE2\x80\x99t create a device interface for the interface (%08x)",
                           static_cast<unsigned>(status));
                return 0;
            }
            if (!candidate) {
                break;
            }
            uint8_t interfaceClass = 0;
            uint8_t interfaceSubClass = 0;
            candidate->getInterfaceClass(interfaceClass);
            status = candidate->getInterfaceSubClass(interfaceSubClass);
            logger.Log("Interface class =%d, subclass =%d", interfaceClass, interfaceSubClass);
            if (interfaceClass == kPrinterClass && interfaceSubClass == kPrinterSubClass) {
                logger.Log("Found the Print Interface =%s...", "SUCCESS");
                interface_ = std::move(candidate);
                break;
            }
            logger.Log("This is not the Print Interface. %s...", "So, Try again");
        }
    } catch (...) {
        // No message of its own: the caller reports the failed open.
    }
    return status;
}

int USBConnection::doOpen() {
    Logger logger("USBConnection", "doOpen");
    int result = getVIDPID();
    if (result != 0) {
        return result;
    }
    return openUSBDeviceInterface();
}

int USBConnection::doClose() {
    Logger logger("USBConnection", "doClose");
    try {
        if (interface_) {
            if (open_) {
                logger.Log("Closing Connection =%s", "TRUE");
                lastStatus_ = interface_->close();
            }
            logger.Log("Releasing Interface =%s", "TRUE");
            // Released here once; dropping the handle keeps the destructor from releasing again.
            interface_.reset();
            open_ = false;
        }
    } catch (...) {
        logger.Log("Close Connection : Error = %s", "Exception.....");
    }
    // Always -1, even after a clean close; callers ignore it.
    return kStatusFailure;
}

int USBConnection::doWrite(Data* request) {
    Logger logger("USBConnection", "doWrite");
    try {
        // Not open: nothing is sent and the caller sees success.
        if (!interface_ || !open_) {
            return 0;
        }
        const unsigned char* bytes = request ? request->get() : nullptr;
        int size = (request && bytes) ? request->size() : 0;
        logger.LogData(bytes, size);
        lastStatus_ = interface_->writePipe(writePipe_, bytes, static_cast<uint32_t>(size));
        if (lastStatus_ == kIOUSBPipeStalled) {
            logger.Log("Write Data Error = %s", "kIOUSBPipeStalled");
            interface_->clearPipeStall(writePipe_);
            return kStatusFailure;
        }
        if (lastStatus_ != kUsbSuccess) {
            logger.Log("Write Data Error = %s", "FAIL");
            return kStatusFailure;
        }
        logger.Log("Write Data Error = %s", "SUCCESS");
        return 0;
    } catch (...) {
        logger.Log("Write Call : Error = %s", "Exception.....");
        return lastStatus_;
    }
}

int USBConnection::doRead(Data& answer) {
    Logger logger("USBConnection", "doRead");
    try {
        if (!interface_ || !open_) {
            return kStatusFailure;
        }
        unsigned char buffer[kReadBufferSize];
        std::memset(buffer, 0, sizeof buffer);
        uint32_t size = kReadBufferSize;
        // The factor is 100, not 1000: the default 5.0 s gives a 500 ms wait. Intended: the
        // protocol ends a multi-packet answer when this short wait runs out.
        uint32_t completionTimeout =
            static_cast<uint32_t>(std::max(0, static_cast<int>(getTimeoutVal() * 100.0)));
        lastStatus_ = interface_->readPipe(readPipe_, buffer, size, kNoDataTimeoutMs, completionTimeout);
        if (lastStatus_ == kIOUSBPipeStalled) {
            logger.Log("Read Data Error = %s", "kIOUSBPipeStalled");
            interface_->clearPipeStall(readPipe_);
            return kIOUSBPipeStalled;
        }
        if (lastStatus_ == kIOUSBTransactionTimeout) {
            logger.Log("Read Data Error = %s", "kIOUSBTransactionTimeout");
            return kStatusFailure;
        }
        if (lastStatus_ != kUsbSuccess) {
            logger.Log("Read Data Error = %s", "FAIL");
            return kStatusFailure;
        }
        if (size == 0) {
            return 0;
        }
        size = std::min<uint32_t>(size, kReadBufferSize);
        answer.assign(buffer, static_cast<int>(size));
        logger.Log("Read Data Size = %d", static_cast<int>(size));
        return 0;
    } catch (...) {
        logger.Log("Read Call : Error = %s", "Exception.....");
        return lastStatus_;
    }
}
