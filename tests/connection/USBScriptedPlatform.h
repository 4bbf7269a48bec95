// USBScriptedPlatform: a USB registry and devices scripted by a test, recording what is done to them.
#pragma once

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "connection/UsbPlatform.h"

struct ScriptedInterface {
    uint8_t interfaceClass = 7;
    uint8_t interfaceSubClass = 1;
    int plugInStatus = kUsbSuccess;
    bool givesPlugIn = true;
    int queryStatus = kUsbSuccess;
    bool givesObject = true;
    int openStatus = kUsbSuccess;
    std::vector<UsbPipeProperties> pipes;
    std::set<int> failingPipes;  // pipe references whose properties cannot be read
};

struct ScriptedDevice {
    UsbDeviceProperties properties;
    int openStatus = kUsbSuccess;
    bool givesDevice = true;
    std::vector<ScriptedInterface> interfaces;
};

struct ScriptedRead {
    int status = kUsbSuccess;
    std::vector<unsigned char> bytes;
};

struct RecordedRead {
    int pipeRef;
    uint32_t size;
    uint32_t noDataTimeout;
    uint32_t completionTimeout;
};

class USBScriptedPlatform : public UsbPlatform {
public:
    std::vector<ScriptedDevice> devices;
    int listStatus = kUsbSuccess;
    int matchStatus = kUsbSuccess;
    int writeStatus = kUsbSuccess;
    std::deque<ScriptedRead> reads;  // answers of the next reads; empty: time-out

    // What happened, in order: "open 7/1", "close 7/1", "release 255/0", "stall 2", ...
    std::vector<std::string> events;
    int listCalls = 0;
    std::vector<std::pair<int, std::vector<unsigned char>>> writes;
    std::vector<RecordedRead> readCalls;

    int listDevices(std::vector<UsbDeviceProperties>& out) override {
        ++listCalls;
        out.clear();
        if (listStatus != kUsbSuccess) {
            return listStatus;
        }
        for (const ScriptedDevice& device : devices) {
            out.push_back(device.properties);
        }
        return kUsbSuccess;
    }

    int matchDevices(int vendorId, int productId,
                     std::vector<std::unique_ptr<UsbDeviceEntry>>& entries) override {
        if (matchStatus != kUsbSuccess) {
            return matchStatus;
        }
        for (ScriptedDevice& device : devices) {
            if (device.properties.vendorId == vendorId && device.properties.productId == productId) {
                entries.push_back(std::make_unique<Entry>(this, &device));
            }
        }
        return kUsbSuccess;
    }

private:
    static std::string name(const ScriptedInterface& s) {
        return std::to_string(s.interfaceClass) + "/" + std::to_string(s.interfaceSubClass);
    }

    class Interface : public UsbInterface {
    public:
        Interface(USBScriptedPlatform* platform, const ScriptedInterface* script)
            : platform_(platform), script_(script) {}
        ~Interface() override { platform_->events.push_back("release " + name(*script_)); }

        int getInterfaceClass(uint8_t& c) override {
            c = script_->interfaceClass;
            return kUsbSuccess;
        }
        int getInterfaceSubClass(uint8_t& c) override {
            c = script_->interfaceSubClass;
            return kUsbSuccess;
        }
        int open() override {
            platform_->events.push_back("open " + name(*script_));
            return script_->openStatus;
        }
        int close() override {
            platform_->events.push_back("close " + name(*script_));
            return kUsbSuccess;
        }
        int getNumEndpoints(uint8_t& count) override {
            count = static_cast<uint8_t>(script_->pipes.size());
            return kUsbSuccess;
        }
        int getPipeProperties(uint8_t pipeRef, UsbPipeProperties& properties) override {
            if (pipeRef < 1 || pipeRef > script_->pipes.size() || script_->failingPipes.count(pipeRef)) {
                return kUsbError;
            }
            properties = script_->pipes[pipeRef - 1];
            return kUsbSuccess;
        }
        int writePipe(uint8_t pipeRef, const unsigned char* bytes, uint32_t size) override {
            platform_->writes.emplace_back(pipeRef, std::vector<unsigned char>(bytes, bytes + size));
            return platform_->writeStatus;
        }
        int readPipe(uint8_t pipeRef, unsigned char* buffer, uint32_t& size, uint32_t noDataTimeout,
                     uint32_t completionTimeout) override {
            platform_->readCalls.push_back({pipeRef, size, noDataTimeout, completionTimeout});
            if (platform_->reads.empty()) {
                size = 0;
                return kIOUSBTransactionTimeout;
            }
            ScriptedRead read = platform_->reads.front();
            platform_->reads.pop_front();
            size = static_cast<uint32_t>(std::min<size_t>(size, read.bytes.size()));
            if (size > 0) {
                std::memcpy(buffer, read.bytes.data(), size);
            }
            return read.status;
        }
        int clearPipeStall(uint8_t pipeRef) override {
            platform_->events.push_back("clear stall " + std::to_string(pipeRef));
            return kUsbSuccess;
        }

    private:
        USBScriptedPlatform* platform_;
        const ScriptedInterface* script_;
    };

    class PlugIn : public UsbInterfacePlugIn {
    public:
        PlugIn(USBScriptedPlatform* platform, const ScriptedInterface* script)
            : platform_(platform), script_(script) {}
        int queryInterface(std::unique_ptr<UsbInterface>& out) override {
            if (script_->queryStatus == kUsbSuccess && script_->givesObject) {
                out = std::make_unique<Interface>(platform_, script_);
            }
            return script_->queryStatus;
        }

    private:
        USBScriptedPlatform* platform_;
        const ScriptedInterface* script_;
    };

    class Device : public UsbDevice {
    public:
        Device(USBScriptedPlatform* platform, const ScriptedDevice* script)
            : platform_(platform), script_(script) {}
        int getInterfaceCount() override { return static_cast<int>(script_->interfaces.size()); }
        int createInterfacePlugIn(int index, std::unique_ptr<UsbInterfacePlugIn>& out) override {
            const ScriptedInterface& s = script_->interfaces.at(static_cast<size_t>(index));
            if (s.plugInStatus == kUsbSuccess && s.givesPlugIn) {
                out = std::make_unique<PlugIn>(platform_, &s);
            }
            return s.plugInStatus;
        }

    private:
        USBScriptedPlatform* platform_;
        const ScriptedDevice* script_;
    };

    class Entry : public UsbDeviceEntry {
    public:
        Entry(USBScriptedPlatform* platform, const ScriptedDevice* script)
            : platform_(platform), script_(script) {}
        int openDevice(std::unique_ptr<UsbDevice>& out) override {
            if (script_->openStatus == kUsbSuccess && script_->givesDevice) {
                out = std::make_unique<Device>(platform_, script_);
            }
            return script_->openStatus;
        }

    private:
        USBScriptedPlatform* platform_;
        const ScriptedDevice* script_;
    };
};

// A registered printer as most tests want it: one print interface with a bulk-out and a bulk-in pipe.
inline ScriptedDevice scriptedPrinter(std::string productName, std::string serial, int vid = 0x1234,
                                      int pid = 0x5678) {
    ScriptedDevice device;
    device.properties.hasProductName = true;
    device.properties.productName = std::move(productName);
    device.properties.hasSerialNumber = true;
    device.properties.serialNumber = std::move(serial);
    device.properties.vendorId = vid;
    device.properties.productId = pid;
    device.properties.hasPrinterInterface = true;
    ScriptedInterface print;
    print.pipes = {{kUsbDirectionOut, 1, kUsbTransferBulk, 512, 0},
                   {kUsbDirectionIn, 2, kUsbTransferBulk, 512, 0}};
    device.interfaces.push_back(print);
    return device;
}
