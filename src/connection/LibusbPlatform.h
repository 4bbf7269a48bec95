// LibusbPlatform: the USB platform operations on top of libusb-1.0.
#pragma once

#include <string>
#include <vector>

#include "connection/UsbPlatform.h"

struct libusb_context;

class LibusbPlatform : public UsbPlatform {
public:
    LibusbPlatform();
    // Ends the libusb session; every object handed out must be gone by then.
    ~LibusbPlatform() override;

    LibusbPlatform(const LibusbPlatform&) = delete;
    LibusbPlatform& operator=(const LibusbPlatform&) = delete;

    int listDevices(std::vector<UsbDeviceProperties>& devices) override;
    int matchDevices(int vendorId, int productId,
                     std::vector<std::unique_ptr<UsbDeviceEntry>>& entries) override;

    // Why libusb could not be set up, or "" when it was (or has not been tried yet).
    std::string setupError() const override { return setupError_; }

    // The platform status for a libusb error code.
    static int statusFromLibusb(int error);

private:
    // The libusb session, set up on first use; null when that failed.
    libusb_context* context();

    libusb_context* context_ = nullptr;
    bool setupTried_ = false;
    std::string setupError_;
};
