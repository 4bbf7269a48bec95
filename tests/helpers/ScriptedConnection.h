// ScriptedConnection: an in-process Connection that replays scripted reads and records writes.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

#include "connection/Connection.h"

class ScriptedConnection : public Connection {
public:
    using Bytes = std::vector<unsigned char>;

    // One scripted read: the bytes returned, or a failing status when |status| is non-zero.
    struct Read {
        Bytes bytes;
        int status = 0;
    };

    ScriptedConnection() = default;
    // One successful read per entry of |answers|, then silence.
    explicit ScriptedConnection(const std::vector<Bytes>& answers);

    void addRead(Bytes bytes) { script_.push_back({std::move(bytes), 0}); }
    void addFailedRead(int status) { script_.push_back({{}, status}); }

    // Status of doOpen.
    int openResult = 0;
    // Status of the n-th write (counted from 0, mode commands and acknowledgements
    // included); writes not listed succeed.
    std::map<size_t, int> writeResults;
    // Status of every read once the script is used up: a device that has gone quiet.
    int silenceStatus = 10;
    // When set, produces every read after the script (given the number of the read),
    // for devices that never stop talking.
    std::function<Bytes(size_t)> endlessReads;

    // What the protocol did.
    std::vector<Bytes> writes;
    int opens = 0;
    int closes = 0;
    // Successful reads handed out.
    size_t readsServed = 0;
    // Every doRead call, failed ones included.
    size_t readCalls = 0;

    int doOpen() override;
    int doClose() override;
    int doWrite(Data* request) override;
    int doRead(Data& answer) override;

private:
    std::vector<Read> script_;
    size_t next_ = 0;
};
