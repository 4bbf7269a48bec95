// RDCCmd: the NPA device-characteristics request for the installed options.
#include "core/RDCCmd.h"

namespace {
const unsigned char kRequest[] = {0xA5, 0x00, 0x07, 0x50, 0xE0, 0x21, 0x01, 0x00, 0x00, 0x00};
// Answers start with a 5-byte header; the answer repeats request byte 4 (0xE0).
constexpr int kHeaderSize = 5;
constexpr int kEchoIndex = 4;
}  // namespace

RDCCmd::RDCCmd() : DevCommand(CMD_CONFIGURATION, kHeaderSize) {
    Data* request = new Data(kRequest, static_cast<int>(sizeof(kRequest)));
    request->setHeaderSize(kHeaderSize);
    request->setErrorCheckingByte(kEchoIndex);
    setRequest(request);
}

RDCCmd::~RDCCmd() = default;
