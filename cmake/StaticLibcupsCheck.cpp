// Links every libcups function the programs call against libcups.a and the forwarders, to
// find out at configure time whether the static link works with this libcups.
#include <cups/backend.h>
#include <cups/file.h>
#include <cups/sidechannel.h>

int main(int argc, char** argv) {
    cups_file_t* file = argc > 1 ? cupsFileOpen(argv[1], "r") : cupsFileStdin();
    char line[1024];
    char* value = nullptr;
    int number = 0;
    while (file != nullptr && cupsFileGetConf(file, line, sizeof line, &value, &number) != nullptr) {
    }
    if (file != nullptr) {
        cupsFileClose(file);
    }
    if (argc > 2) {
        char data[512];
        int length = sizeof data;
        cups_sc_command_t command;
        cups_sc_status_t status;
        cupsBackChannelRead(data, sizeof data, 0.0);
        cupsBackChannelWrite(data, 0, 0.0);
        cupsSideChannelDoRequest(CUPS_SC_CMD_DRAIN_OUTPUT, data, &length, 0.0);
        cupsSideChannelRead(&command, &status, data, &length, 0.0);
        cupsSideChannelWrite(command, status, data, length, 0.0);
        cupsSideChannelSNMPWalk(".1", 0.0, nullptr, nullptr);
    }
    return 0;
}
