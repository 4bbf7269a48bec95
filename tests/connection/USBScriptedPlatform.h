// USBScriptedPlatform: a USB registry and devices scripted by a test, recording what is done to them.
#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "connection/UsbPlatform.h"

struct ScriptedInterface {
    uint8_t interfaceClass = 7, interfaceSubClass = 1;
    int plugInStatus = kUsbSuccess, queryStatus = kUsbSuccess, openStatus = kUsbSuccess;
    bool givesPlugIn = true, givesObject = true;  // false: success without an object
    std::vector<UsbPipeProperties> pipes;
    std::set<int> failingPipes;  // pipe references whose properties cannot be read
};

struct ScriptedDevice {
    UsbDeviceProperties properties;
    int openStatus = kUsbSuccess;
    bool givesDevice = true;
    std::vector<ScriptedInterface> interfaces;
};

class USBScriptedPlatform : public UsbPlatform {
public:
    explicit USBScriptedPlatform(std::vector<ScriptedDevice> devices = {}) : devices(std::move(devices)) {}
    std::vector<ScriptedDevice> devices;
    int listStatus = kUsbSuccess, matchStatus = kUsbSuccess, writeStatus = kUsbSuccess;
    std::deque<std::pair<int, std::vector<unsigned char>>> reads;  // (status, bytes) of the next reads; none: time-out
    std::function<void(const std::vector<unsigned char>&)> onWrite;  // called with each write; may queue its answer

    // What happened, in order: "open 7/1", "close 7/1", "release 255/0", "clear stall 2".
    std::vector<std::string> events;
    int listCalls = 0;
    std::vector<std::pair<int, std::vector<unsigned char>>> writes;
    std::vector<std::tuple<int, uint32_t, uint32_t, uint32_t>> readCalls;  // pipe, size, time-outs

    int listDevices(std::vector<UsbDeviceProperties>& out) override {
        ++listCalls;
        out.clear();
        for (const ScriptedDevice& device : devices) out.push_back(device.properties);
        return listStatus;
    }

    int matchDevices(int vendorId, int productId, std::vector<std::unique_ptr<UsbDeviceEntry>>& entries) override {
        for (ScriptedDevice& d : devices) {
            if (matchStatus == kUsbSuccess && d.properties.vendorId == vendorId && d.properties.productId == productId) {
                entries.push_back(std::make_unique<Node>(this, &d));
            }
        }
        return matchStatus;
    }

private:
    class Interface : public UsbInterface {
    public:
        Interface(USBScriptedPlatform* p, const ScriptedInterface* s)
            : p_(p), s_(s), name_(std::to_string(s->interfaceClass) + "/" + std::to_string(s->interfaceSubClass)) {}
        ~Interface() override { p_->events.push_back("release " + name_); }
        int getInterfaceClass(uint8_t& c) override { return c = s_->interfaceClass, kUsbSuccess; }
        int getInterfaceSubClass(uint8_t& c) override { return c = s_->interfaceSubClass, kUsbSuccess; }
        int open() override { return p_->events.push_back("open " + name_), s_->openStatus; }
        int close() override { return p_->events.push_back("close " + name_), kUsbSuccess; }
        int getNumEndpoints(uint8_t& n) override { return n = static_cast<uint8_t>(s_->pipes.size()), kUsbSuccess; }
        int getPipeProperties(uint8_t ref, UsbPipeProperties& properties) override {
            if (ref < 1 || ref > s_->pipes.size() || s_->failingPipes.count(ref)) return kUsbError;
            properties = s_->pipes[ref - 1];
            return kUsbSuccess;
        }
        int writePipe(uint8_t ref, const unsigned char* bytes, uint32_t size) override {
            p_->writes.emplace_back(ref, std::vector<unsigned char>(bytes, bytes + size));
            if (p_->onWrite) p_->onWrite(p_->writes.back().second);
            return p_->writeStatus;
        }
        int readPipe(uint8_t ref, unsigned char* buffer, uint32_t& size, uint32_t noData, uint32_t completion) override {
            p_->readCalls.emplace_back(ref, size, noData, completion);
            if (p_->reads.empty()) return size = 0, kIOUSBTransactionTimeout;
            auto [status, bytes] = p_->reads.front();
            p_->reads.pop_front();
            size = static_cast<uint32_t>(std::min<size_t>(size, bytes.size()));
            std::copy(bytes.begin(), bytes.begin() + size, buffer);
            return status;
        }
        int clearPipeStall(uint8_t ref) override {
            return p_->events.push_back("clear stall " + std::to_string(ref)), kUsbSuccess;
        }

    private:
        USBScriptedPlatform* p_;
        const ScriptedInterface* s_;
        std::string name_;
    };

    // A registry entry, its device and, given an interface, that interface's plug-in.
    struct Node : UsbDeviceEntry, UsbDevice, UsbInterfacePlugIn {
        Node(USBScriptedPlatform* p, const ScriptedDevice* d, const ScriptedInterface* i = nullptr) : p_(p), d_(d), i_(i) {}
        int openDevice(std::unique_ptr<UsbDevice>& out) override {
            if (d_->openStatus == kUsbSuccess && d_->givesDevice) out = std::make_unique<Node>(p_, d_);
            return d_->openStatus;
        }
        int getInterfaceCount() override { return static_cast<int>(d_->interfaces.size()); }
        int createInterfacePlugIn(int index, std::unique_ptr<UsbInterfacePlugIn>& out) override {
            const ScriptedInterface& i = d_->interfaces.at(static_cast<size_t>(index));
            if (i.plugInStatus == kUsbSuccess && i.givesPlugIn) out = std::make_unique<Node>(p_, d_, &i);
            return i.plugInStatus;
        }
        int queryInterface(std::unique_ptr<UsbInterface>& out) override {
            if (i_->queryStatus == kUsbSuccess && i_->givesObject) out = std::make_unique<Interface>(p_, i_);
            return i_->queryStatus;
        }
        USBScriptedPlatform* p_;
        const ScriptedDevice* d_;
        const ScriptedInterface* i_;
    };
};

// A printer with one print interface that has a bulk-out pipe (1) and a bulk-in pipe (2).
inline ScriptedDevice scriptedPrinter(std::string productName, std::string serial, int vid = 0x1234, int pid = 0x5678) {
    ScriptedDevice device;
    device.properties = {true, std::move(productName), true, std::move(serial), vid, pid, true, kUsbSuccess,
                         "/dev/bus/usb/001/004"};
    ScriptedInterface print;
    print.pipes = {{kUsbDirectionOut, 1, kUsbTransferBulk, 512, 0}, {kUsbDirectionIn, 2, kUsbTransferBulk, 512, 0}};
    device.interfaces.push_back(print);
    return device;
}
