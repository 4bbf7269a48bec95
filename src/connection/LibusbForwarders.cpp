// LibusbForwarders: the libusb functions the direct USB mode calls, loaded on first use.
#include <libusb.h>

#include "support/LazyLibrary.h"

namespace {
LazyLibrary& libusb() {
    static LazyLibrary* library = new LazyLibrary({"libusb-1.0.so.0", "libusb-1.0.so"});
    return *library;
}
}  // namespace

// Without the library, initialisation fails and nothing else is reached.
CFF_LAZY_FORWARD(libusb(), int, libusb_init, (libusb_context** ctx), (ctx), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD_VOID(libusb(), libusb_exit, (libusb_context* ctx), (ctx))
CFF_LAZY_FORWARD(libusb(), ssize_t, libusb_get_device_list, (libusb_context* ctx, libusb_device*** list),
                 (ctx, list), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD_VOID(libusb(), libusb_free_device_list, (libusb_device** list, int unref), (list, unref))
CFF_LAZY_FORWARD(libusb(), libusb_device*, libusb_ref_device, (libusb_device* dev), (dev), nullptr)
CFF_LAZY_FORWARD_VOID(libusb(), libusb_unref_device, (libusb_device* dev), (dev))
CFF_LAZY_FORWARD(libusb(), int, libusb_get_device_descriptor,
                 (libusb_device* dev, struct libusb_device_descriptor* desc), (dev, desc), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_get_active_config_descriptor,
                 (libusb_device* dev, struct libusb_config_descriptor** config), (dev, config),
                 LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD_VOID(libusb(), libusb_free_config_descriptor, (struct libusb_config_descriptor* config), (config))
CFF_LAZY_FORWARD(libusb(), uint8_t, libusb_get_bus_number, (libusb_device* dev), (dev), 0)
CFF_LAZY_FORWARD(libusb(), uint8_t, libusb_get_device_address, (libusb_device* dev), (dev), 0)
CFF_LAZY_FORWARD(libusb(), int, libusb_open, (libusb_device* dev, libusb_device_handle** handle), (dev, handle),
                 LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD_VOID(libusb(), libusb_close, (libusb_device_handle* handle), (handle))
CFF_LAZY_FORWARD(libusb(), int, libusb_get_string_descriptor_ascii,
                 (libusb_device_handle* handle, uint8_t index, unsigned char* data, int length),
                 (handle, index, data, length), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_set_auto_detach_kernel_driver, (libusb_device_handle* handle, int enable),
                 (handle, enable), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_claim_interface, (libusb_device_handle* handle, int number),
                 (handle, number), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_release_interface, (libusb_device_handle* handle, int number),
                 (handle, number), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_set_interface_alt_setting,
                 (libusb_device_handle* handle, int number, int alternate), (handle, number, alternate),
                 LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_clear_halt, (libusb_device_handle* handle, unsigned char endpoint),
                 (handle, endpoint), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_bulk_transfer,
                 (libusb_device_handle* handle, unsigned char endpoint, unsigned char* data, int length,
                  int* transferred, unsigned int timeout),
                 (handle, endpoint, data, length, transferred, timeout), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), int, libusb_interrupt_transfer,
                 (libusb_device_handle* handle, unsigned char endpoint, unsigned char* data, int length,
                  int* transferred, unsigned int timeout),
                 (handle, endpoint, data, length, transferred, timeout), LIBUSB_ERROR_NOT_SUPPORTED)
CFF_LAZY_FORWARD(libusb(), const char*, libusb_strerror, (int code), (code), "libusb-1.0 is not installed")
CFF_LAZY_FORWARD(libusb(), const char*, libusb_error_name, (int code), (code), "LIBUSB_ERROR_NOT_SUPPORTED")
