// ScriptedConnection: an in-process Connection that replays scripted reads and records writes.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "connection/Connection.h"

struct ScriptedConnection : Connection {
    using Bytes = std::vector<unsigned char>;
    struct Read {  // the bytes returned, or a failing status when |status| is non-zero
        Bytes bytes;
        int status = 0;
    };
    // One successful read per entry of |answers|, then silence.
    explicit ScriptedConnection(const std::vector<Bytes>& answers = {}) {
        for (const Bytes& answer : answers) addRead(answer);
    }
    void addRead(Bytes bytes) { reads.push_back({std::move(bytes)}); }
    void addText(const std::string& text) { reads.push_back({Bytes(text.begin(), text.end())}); }
    std::string writtenText(size_t n) const { return std::string(writes.at(n).begin(), writes.at(n).end()); }

    std::deque<Read> reads;                     // served in order
    int silenceStatus = 10;                     // of every read once |reads| is used up
    std::function<Bytes(size_t)> endlessReads;  // when set, every read after the script (by read number)
    std::function<void(const Bytes&)> onWrite;  // called with each write; may queue its answer
    int openResult = 0;
    std::map<size_t, int> writeResults;  // status of the n-th write; writes not listed succeed
    std::vector<Bytes> writes;
    int opens = 0, closes = 0;
    size_t readsServed = 0, readCalls = 0;  // successful reads, and every doRead call

    int doOpen() override { return ++opens, openResult; }
    int doClose() override { return ++closes, 0; }
    int doWrite(Data* request) override;
    int doRead(Data& answer) override;
};
