// ScriptedConnection: an in-process Connection that replays scripted reads and records writes.
#include "ScriptedConnection.h"

ScriptedConnection::ScriptedConnection(const std::vector<Bytes>& answers) {
    for (const Bytes& answer : answers) {
        addRead(answer);
    }
}

int ScriptedConnection::doOpen() {
    ++opens;
    return openResult;
}

int ScriptedConnection::doClose() {
    ++closes;
    return 0;
}

int ScriptedConnection::doWrite(Data* request) {
    size_t index = writes.size();
    if (request != nullptr && request->get() != nullptr) {
        writes.emplace_back(request->get(), request->get() + request->size());
    } else {
        writes.emplace_back();
    }
    auto scripted = writeResults.find(index);
    return scripted == writeResults.end() ? 0 : scripted->second;
}

int ScriptedConnection::doRead(Data& answer) {
    size_t call = readCalls++;
    Read read;
    if (next_ < script_.size()) {
        read = script_[next_++];
    } else if (endlessReads) {
        read.bytes = endlessReads(call);
    } else {
        read.status = silenceStatus;
    }
    if (read.status != 0) {
        return read.status;
    }
    ++readsServed;
    answer.assign(read.bytes.data(), static_cast<int>(read.bytes.size()));
    return 0;
}
