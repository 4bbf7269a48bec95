// A stand-in filter for simulator tests: performs the actions named by its arguments on the
// channels a spooler gives a filter, and reports what came back on standard error.
//   npa:HEX      writes the mode command and the packet at once, then reads the back-channel
//   npaslow:HEX  the same, one byte per write
//   walk:OID     walks OID through the side channel
//   devid        asks the side channel for the device id
//   uri          prints DEVICE_URI
//   exit:N       ends with status N
#include <cups/sidechannel.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const unsigned char kModeCommand[] = {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF,
                                      0xA4, 0x5B, 0x11, 0xEE, 0x00, 0xFF, 0x13, 0xEC, 0x2E};

std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string toHex(const char* bytes, size_t size) {
    std::string hex;
    char byte[3];
    for (size_t i = 0; i < size; ++i) {
        std::snprintf(byte, sizeof(byte), "%02X", static_cast<unsigned char>(bytes[i]));
        hex += byte;
    }
    return hex;
}

void readAnswer() {
    double timeout = 3.0;
    char buffer[512];
    for (;;) {
        ssize_t got = cupsBackChannelRead(buffer, sizeof(buffer), timeout);
        if (got <= 0) {
            break;
        }
        std::fprintf(stderr, "READ %s\n", toHex(buffer, static_cast<size_t>(got)).c_str());
        timeout = 0.3;
    }
    std::fprintf(stderr, "END\n");
}

void walkCallback(const char* oid, const char* data, int length, void*) {
    std::fprintf(stderr, "WALK %s=%s\n", oid, std::string(data, static_cast<size_t>(length)).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string action = argv[i];
        if (action.rfind("npa:", 0) == 0 || action.rfind("npaslow:", 0) == 0) {
            std::string request = std::string(reinterpret_cast<const char*>(kModeCommand), sizeof(kModeCommand)) +
                                  fromHex(action.substr(action.find(':') + 1));
            bool failed = false;
            if (action[3] == ':') {
                failed = write(1, request.data(), request.size()) != static_cast<ssize_t>(request.size());
            } else {
                for (char byte : request) {
                    failed = failed || write(1, &byte, 1) != 1;
                    usleep(1000);
                }
            }
            if (failed) {
                std::fprintf(stderr, "WRITEFAILED\n");
            }
            readAnswer();
        } else if (action.rfind("walk:", 0) == 0) {
            cups_sc_status_t status = cupsSideChannelSNMPWalk(action.substr(5).c_str(), 2.0, walkCallback, nullptr);
            std::fprintf(stderr, "WALKSTATUS %d\n", static_cast<int>(status));
        } else if (action == "devid") {
            char data[1024];
            int length = sizeof(data) - 1;
            cups_sc_status_t status = cupsSideChannelDoRequest(CUPS_SC_CMD_GET_DEVICE_ID, data, &length, 2.0);
            data[length > 0 ? length : 0] = '\0';
            std::fprintf(stderr, "DEVID %d %s\n", static_cast<int>(status), data);
        } else if (action == "uri") {
            const char* uri = getenv("DEVICE_URI");
            std::fprintf(stderr, "URI %s\n", uri ? uri : "");
        } else if (action.rfind("exit:", 0) == 0) {
            return std::atoi(action.c_str() + 5);
        }
    }
    return 0;
}
