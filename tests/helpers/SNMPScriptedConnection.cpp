// Test helper: a Connection that replays scripted reads and records what was written.
#include "helpers/SNMPScriptedConnection.h"

int SNMPScriptedConnection::doOpen() {
    ++opens;
    return openResult;
}

int SNMPScriptedConnection::doClose() {
    ++closes;
    return 0;
}

int SNMPScriptedConnection::doWrite(Data* request) {
    std::vector<unsigned char> bytes;
    if (request != nullptr && request->get() != nullptr) {
        bytes.assign(request->get(), request->get() + request->size());
    }
    written.push_back(bytes);
    if (onWrite) {
        onWrite(bytes);
    }
    return writeResult;
}

int SNMPScriptedConnection::doRead(Data& answer) {
    ++readCount;
    Read next{-1, {}};
    if (!reads.empty()) {
        next = reads.front();
        reads.pop_front();
    } else if (endless) {
        next = endless();
    }
    if (!next.bytes.empty()) {
        answer.assign(next.bytes.data(), static_cast<int>(next.bytes.size()));
    }
    return next.rc;
}
