// ROCCmd: the NPA request for the printer's text description of its options.
#include "core/ROCCmd.h"

namespace {
const unsigned char kRequest[] = {0xA5, 0x00, 0x03, 0x50, 0x01, 0x04};
// Answers start with a 5-byte header. The echo offset stays 0, so an answer is only
// checked for its start byte (request byte 0 is 0xA5).
constexpr int kHeaderSize = 5;
constexpr int kEchoIndex = 0;
}  // namespace

ROCCmd::ROCCmd(RequestType /*type*/) : DevCommand(CMD_ROC, kHeaderSize) {
    Data* request = new Data(kRequest, static_cast<int>(sizeof(kRequest)));
    request->setHeaderSize(kHeaderSize);
    request->setErrorCheckingByte(kEchoIndex);
    setRequest(request);
}

ROCCmd::~ROCCmd() = default;
