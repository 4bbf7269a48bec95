// A stand-in filter for simulator tests: performs the actions named by its arguments on the
// channels a spooler gives a filter and reports on standard error what came back:
// npa:HEX (the mode command and the packet in one write, then the back-channel's reads),
// npaslow:HEX (the same one byte per write), walk:OID (a side-channel walk), devid (the
// side channel's device id), uri (DEVICE_URI) and exit:N (ends with status N).
#include <cups/sidechannel.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string action = argv[i];
        if (action.rfind("npa", 0) == 0) {
            std::string hex = "A5001080A45BA45B10EFA45B11EE00FF13EC2E" + action.substr(action.find(':') + 1), request;
            for (size_t at = 0; at + 1 < hex.size(); at += 2) request += char(std::stoi(hex.substr(at, 2), nullptr, 16));
            size_t step = action[3] == ':' ? request.size() : 1;
            for (size_t at = 0; at < request.size(); at += step) {
                if (write(1, request.data() + at, step) != static_cast<ssize_t>(step)) std::fprintf(stderr, "WRITEFAILED\n");
                if (step == 1) usleep(1000);
            }
            char buffer[512];
            ssize_t got;
            for (double timeout = 3.0; (got = cupsBackChannelRead(buffer, sizeof(buffer), timeout)) > 0; timeout = 0.3) {
                std::fprintf(stderr, "READ ");
                for (ssize_t n = 0; n < got; ++n) std::fprintf(stderr, "%02X", static_cast<unsigned char>(buffer[n]));
                std::fprintf(stderr, "\n");
            }
        } else if (action.rfind("walk:", 0) == 0) {
            auto print = [](const char* oid, const char* data, int length, void*) {
                std::fprintf(stderr, "WALK %s=%.*s\n", oid, length, data);
            };
            std::fprintf(stderr, "WALKSTATUS %d\n", cupsSideChannelSNMPWalk(action.substr(5).c_str(), 2.0, print, nullptr));
        } else if (action == "devid") {
            char data[1024];
            int length = sizeof(data) - 1;
            int status = cupsSideChannelDoRequest(CUPS_SC_CMD_GET_DEVICE_ID, data, &length, 2.0);
            std::fprintf(stderr, "DEVID %d %.*s\n", status, length > 0 ? length : 0, data);
        } else if (action == "uri") {
            std::fprintf(stderr, "URI %s\n", getenv("DEVICE_URI") ? getenv("DEVICE_URI") : "");
        } else if (action.rfind("exit:", 0) == 0) {
            return std::atoi(action.c_str() + 5);
        }
    }
    return 0;
}
