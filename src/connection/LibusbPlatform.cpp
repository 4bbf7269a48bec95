// LibusbPlatform: the USB platform operations on top of libusb-1.0.
#include "connection/LibusbPlatform.h"

#include <libusb.h>

#include <cstdio>
#include <functional>
#include <memory>

namespace {

constexpr int kPrinterClass = 7;
constexpr int kStringBufferSize = 256;

// An open device handle shared by the device object and the interfaces taken from it.
using HandlePtr = std::shared_ptr<libusb_device_handle>;

HandlePtr shareHandle(libusb_device_handle* handle) {
    return HandlePtr(handle, [](libusb_device_handle* h) { libusb_close(h); });
}

// The active configuration descriptor, freed when the holder goes.
struct ConfigHolder {
    libusb_config_descriptor* config = nullptr;
    ~ConfigHolder() {
        if (config != nullptr) {
            libusb_free_config_descriptor(config);
        }
    }
};

// One string descriptor as ASCII; false when the device has none or it cannot be read.
bool readString(libusb_device_handle* handle, uint8_t index, std::string& text) {
    if (index == 0) {
        return false;
    }
    unsigned char buffer[kStringBufferSize];
    int length = libusb_get_string_descriptor_ascii(handle, index, buffer, sizeof buffer);
    if (length < 0) {
        return false;
    }
    text.assign(reinterpret_cast<const char*>(buffer), static_cast<size_t>(length));
    return true;
}

// True when |altsetting| has an in and an out endpoint, as a bidirectional printer setting has.
bool isBidirectional(const libusb_interface_descriptor& altsetting) {
    bool in = false;
    bool out = false;
    for (int e = 0; e < altsetting.bNumEndpoints; ++e) {
        if (altsetting.endpoint[e].bEndpointAddress & LIBUSB_ENDPOINT_IN) {
            in = true;
        } else {
            out = true;
        }
    }
    return in && out;
}

class LibusbInterface : public UsbInterface {
public:
    LibusbInterface(HandlePtr handle, const libusb_interface_descriptor& altsetting)
        : handle_(std::move(handle)),
          number_(altsetting.bInterfaceNumber),
          alternate_(altsetting.bAlternateSetting),
          class_(altsetting.bInterfaceClass),
          subClass_(altsetting.bInterfaceSubClass),
          endpoints_(altsetting.endpoint, altsetting.endpoint + altsetting.bNumEndpoints) {}

    ~LibusbInterface() override { close(); }

    int getInterfaceClass(uint8_t& interfaceClass) override {
        interfaceClass = class_;
        return kUsbSuccess;
    }
    int getInterfaceSubClass(uint8_t& interfaceSubClass) override {
        interfaceSubClass = subClass_;
        return kUsbSuccess;
    }

    int open() override {
        if (claimed_) {
            return kUsbSuccess;
        }
        // A kernel printer driver holding the interface is detached while we use it and
        // attached again when the interface is released.
        libusb_set_auto_detach_kernel_driver(handle_.get(), 1);
        int error = libusb_claim_interface(handle_.get(), number_);
        if (error != LIBUSB_SUCCESS) {
            return LibusbPlatform::statusFromLibusb(error);
        }
        claimed_ = true;
        if (alternate_ != 0) {
            error = libusb_set_interface_alt_setting(handle_.get(), number_, alternate_);
            if (error != LIBUSB_SUCCESS) {
                close();
                return LibusbPlatform::statusFromLibusb(error);
            }
        }
        return kUsbSuccess;
    }

    int close() override {
        if (!claimed_) {
            return kUsbSuccess;
        }
        claimed_ = false;
        return LibusbPlatform::statusFromLibusb(libusb_release_interface(handle_.get(), number_));
    }

    int getNumEndpoints(uint8_t& count) override {
        count = static_cast<uint8_t>(endpoints_.size());
        return kUsbSuccess;
    }

    int getPipeProperties(uint8_t pipeRef, UsbPipeProperties& properties) override {
        const libusb_endpoint_descriptor* endpoint = endpointFor(pipeRef);
        if (endpoint == nullptr) {
            return kUsbError;
        }
        properties.direction = (endpoint->bEndpointAddress & LIBUSB_ENDPOINT_IN) ? kUsbDirectionIn
                                                                                 : kUsbDirectionOut;
        properties.number = endpoint->bEndpointAddress & 0x0F;
        properties.transferType = endpoint->bmAttributes & 0x03;
        properties.maxPacketSize = endpoint->wMaxPacketSize;
        properties.interval = endpoint->bInterval;
        return kUsbSuccess;
    }

    int writePipe(uint8_t pipeRef, const unsigned char* bytes, uint32_t size) override {
        int transferred = 0;
        // A time-out of 0 waits for ever: writes have no time-out.
        return transfer(pipeRef, const_cast<unsigned char*>(bytes), size, transferred, 0);
    }

    // libusb knows one time-out per transfer, the completion time-out. The no-data time-out
    // is approximated: bytes that arrived before the time-out ran out count as a short,
    // successful read, as they would have after a pause between bytes; a time-out with
    // nothing read is a transaction time-out. A completion time-out of 0 would wait for
    // ever in libusb, so the no-data time-out bounds the read then.
    int readPipe(uint8_t pipeRef, unsigned char* buffer, uint32_t& size, uint32_t noDataTimeout,
                 uint32_t completionTimeout) override {
        unsigned int timeout = completionTimeout != 0 ? completionTimeout : noDataTimeout;
        int transferred = 0;
        int status = transfer(pipeRef, buffer, size, transferred, timeout);
        size = static_cast<uint32_t>(transferred > 0 ? transferred : 0);
        if (status == kIOUSBTransactionTimeout && transferred > 0) {
            return kUsbSuccess;
        }
        return status;
    }

    int clearPipeStall(uint8_t pipeRef) override {
        const libusb_endpoint_descriptor* endpoint = endpointFor(pipeRef);
        if (endpoint == nullptr) {
            return kUsbError;
        }
        return LibusbPlatform::statusFromLibusb(
            libusb_clear_halt(handle_.get(), endpoint->bEndpointAddress));
    }

private:
    const libusb_endpoint_descriptor* endpointFor(uint8_t pipeRef) const {
        if (pipeRef == 0 || pipeRef > endpoints_.size()) {
            return nullptr;
        }
        return &endpoints_[pipeRef - 1];
    }

    // One bulk or interrupt transfer, chosen by the endpoint's type.
    int transfer(uint8_t pipeRef, unsigned char* bytes, uint32_t size, int& transferred,
                 unsigned int timeout) {
        transferred = 0;
        const libusb_endpoint_descriptor* endpoint = endpointFor(pipeRef);
        if (endpoint == nullptr || !claimed_) {
            return kUsbError;
        }
        int length = static_cast<int>(size);
        int error;
        if ((endpoint->bmAttributes & 0x03) == LIBUSB_TRANSFER_TYPE_INTERRUPT) {
            error = libusb_interrupt_transfer(handle_.get(), endpoint->bEndpointAddress, bytes,
                                              length, &transferred, timeout);
        } else {
            error = libusb_bulk_transfer(handle_.get(), endpoint->bEndpointAddress, bytes, length,
                                         &transferred, timeout);
        }
        return LibusbPlatform::statusFromLibusb(error);
    }

    HandlePtr handle_;
    int number_;
    int alternate_;
    uint8_t class_;
    uint8_t subClass_;
    // Copies of the endpoint descriptors (their extra bytes are not used).
    std::vector<libusb_endpoint_descriptor> endpoints_;
    bool claimed_ = false;
};

class LibusbInterfacePlugIn : public UsbInterfacePlugIn {
public:
    LibusbInterfacePlugIn(HandlePtr handle, const libusb_interface_descriptor& altsetting)
        : handle_(std::move(handle)), altsetting_(altsetting) {}

    int queryInterface(std::unique_ptr<UsbInterface>& usbInterface) override {
        usbInterface = std::make_unique<LibusbInterface>(handle_, altsetting_);
        return kUsbSuccess;
    }

private:
    HandlePtr handle_;
    // Points into the configuration descriptor that the device object keeps alive
    // until the plug-in is gone.
    const libusb_interface_descriptor& altsetting_;
};

class LibusbDevice : public UsbDevice {
public:
    LibusbDevice(HandlePtr handle, libusb_config_descriptor* config)
        : handle_(std::move(handle)) {
        config_.config = config;
    }

    int getInterfaceCount() override { return config_.config ? config_.config->bNumInterfaces : 0; }

    // The interface's first alternate setting that can both send and receive, else its first.
    int createInterfacePlugIn(int index, std::unique_ptr<UsbInterfacePlugIn>& plugIn) override {
        if (config_.config == nullptr || index < 0 || index >= config_.config->bNumInterfaces) {
            return kUsbError;
        }
        const libusb_interface& usbInterface = config_.config->interface[index];
        if (usbInterface.num_altsetting < 1) {
            return kUsbError;
        }
        const libusb_interface_descriptor* chosen = &usbInterface.altsetting[0];
        for (int a = 0; a < usbInterface.num_altsetting; ++a) {
            const libusb_interface_descriptor& altsetting = usbInterface.altsetting[a];
            if (altsetting.bInterfaceClass == chosen->bInterfaceClass && isBidirectional(altsetting)) {
                chosen = &altsetting;
                break;
            }
        }
        plugIn = std::make_unique<LibusbInterfacePlugIn>(handle_, *chosen);
        return kUsbSuccess;
    }

private:
    HandlePtr handle_;
    ConfigHolder config_;
};

class LibusbDeviceEntry : public UsbDeviceEntry {
public:
    explicit LibusbDeviceEntry(libusb_device* device) : device_(libusb_ref_device(device)) {}
    ~LibusbDeviceEntry() override { libusb_unref_device(device_); }

    int openDevice(std::unique_ptr<UsbDevice>& device) override {
        libusb_config_descriptor* config = nullptr;
        int error = libusb_get_active_config_descriptor(device_, &config);
        if (error != LIBUSB_SUCCESS) {
            return LibusbPlatform::statusFromLibusb(error);
        }
        libusb_device_handle* handle = nullptr;
        error = libusb_open(device_, &handle);
        if (error != LIBUSB_SUCCESS) {
            libusb_free_config_descriptor(config);
            return LibusbPlatform::statusFromLibusb(error);
        }
        device = std::make_unique<LibusbDevice>(shareHandle(handle), config);
        return kUsbSuccess;
    }

private:
    libusb_device* device_;
};

// The device list of one enumeration, freed when the holder goes.
struct DeviceListHolder {
    libusb_device** list = nullptr;
    ssize_t count = 0;
    ~DeviceListHolder() {
        if (list != nullptr) {
            libusb_free_device_list(list, 1);
        }
    }
};

bool hasPrinterInterface(libusb_device* device) {
    ConfigHolder holder;
    if (libusb_get_active_config_descriptor(device, &holder.config) != LIBUSB_SUCCESS) {
        return false;
    }
    for (int i = 0; i < holder.config->bNumInterfaces; ++i) {
        const libusb_interface& usbInterface = holder.config->interface[i];
        for (int a = 0; a < usbInterface.num_altsetting; ++a) {
            if (usbInterface.altsetting[a].bInterfaceClass == kPrinterClass) {
                return true;
            }
        }
    }
    return false;
}

using DeviceVisitor = std::function<void(libusb_device*, const libusb_device_descriptor&)>;

// Calls |visit| with every attached device whose descriptor can be read. kUsbSuccess,
// kUsbNotAvailable without a libusb session, or the status of a failed device listing.
int forEachDevice(libusb_context* session, const DeviceVisitor& visit) {
    if (session == nullptr) {
        return kUsbNotAvailable;
    }
    DeviceListHolder holder;
    holder.count = libusb_get_device_list(session, &holder.list);
    if (holder.count < 0) {
        return LibusbPlatform::statusFromLibusb(static_cast<int>(holder.count));
    }
    for (ssize_t i = 0; i < holder.count; ++i) {
        libusb_device_descriptor descriptor;
        if (libusb_get_device_descriptor(holder.list[i], &descriptor) == LIBUSB_SUCCESS) {
            visit(holder.list[i], descriptor);
        }
    }
    return kUsbSuccess;
}

}  // namespace

LibusbPlatform::LibusbPlatform() = default;

LibusbPlatform::~LibusbPlatform() {
    if (context_ != nullptr) {
        libusb_exit(context_);
    }
}

libusb_context* LibusbPlatform::context() {
    if (!setupTried_) {
        setupTried_ = true;
        int error = libusb_init(&context_);
        if (error != LIBUSB_SUCCESS) {
            context_ = nullptr;
            setupError_ = libusb_strerror(static_cast<libusb_error>(error));
        }
    }
    return context_;
}

int LibusbPlatform::statusFromLibusb(int error) {
    switch (error) {
        case LIBUSB_SUCCESS:
            return kUsbSuccess;
        case LIBUSB_ERROR_PIPE:
            return kIOUSBPipeStalled;
        case LIBUSB_ERROR_TIMEOUT:
            return kIOUSBTransactionTimeout;
        case LIBUSB_ERROR_ACCESS:
            return kUsbNotPrivileged;
        case LIBUSB_ERROR_NO_DEVICE:
        case LIBUSB_ERROR_NOT_FOUND:
            return kUsbNoDevice;
        case LIBUSB_ERROR_BUSY:
            return kUsbBusy;
        case LIBUSB_ERROR_NO_MEM:
            return kUsbNoMemory;
        default:
            return kUsbError;
    }
}

int LibusbPlatform::listDevices(std::vector<UsbDeviceProperties>& devices) {
    devices.clear();
    return forEachDevice(context(), [&](libusb_device* device,
                                        const libusb_device_descriptor& descriptor) {
        UsbDeviceProperties properties;
        properties.vendorId = descriptor.idVendor;
        properties.productId = descriptor.idProduct;
        properties.hasPrinterInterface = hasPrinterInterface(device);
        char location[64];
        std::snprintf(location, sizeof location, "/dev/bus/usb/%03u/%03u",
                      libusb_get_bus_number(device), libusb_get_device_address(device));
        properties.location = location;
        // The texts need the device opened, which the device node's permissions may forbid.
        libusb_device_handle* handle = nullptr;
        int error = libusb_open(device, &handle);
        properties.accessStatus = statusFromLibusb(error);
        if (error == LIBUSB_SUCCESS) {
            properties.hasProductName = readString(handle, descriptor.iProduct, properties.productName);
            properties.hasSerialNumber =
                readString(handle, descriptor.iSerialNumber, properties.serialNumber);
            libusb_close(handle);
        }
        devices.push_back(std::move(properties));
    });
}

int LibusbPlatform::matchDevices(int vendorId, int productId,
                                 std::vector<std::unique_ptr<UsbDeviceEntry>>& entries) {
    entries.clear();
    return forEachDevice(context(), [&](libusb_device* device,
                                        const libusb_device_descriptor& descriptor) {
        if (descriptor.idVendor == vendorId && descriptor.idProduct == productId) {
            entries.push_back(std::make_unique<LibusbDeviceEntry>(device));
        }
    });
}
