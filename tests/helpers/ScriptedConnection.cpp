// ScriptedConnection: an in-process Connection that replays scripted reads and records writes.
#include "ScriptedConnection.h"

int ScriptedConnection::doWrite(Data* request) {
    writes.push_back(request && request->get() ? Bytes(request->get(), request->get() + request->size()) : Bytes());
    if (onWrite) onWrite(writes.back());
    auto scripted = writeResults.find(writes.size() - 1);
    return scripted == writeResults.end() ? 0 : scripted->second;
}

int ScriptedConnection::doRead(Data& answer) {
    const Read read = !reads.empty() ? reads.front()
                      : endlessReads ? Read{endlessReads(readCalls)} : Read{{}, silenceStatus};
    if (!reads.empty()) reads.pop_front();
    ++readCalls;
    if (read.status != 0) return read.status;
    ++readsServed;
    answer.assign(read.bytes.data(), static_cast<int>(read.bytes.size()));
    return 0;
}
