// Test helper: a Connection that replays scripted reads and records what was written.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "connection/Connection.h"

class SNMPScriptedConnection : public Connection {
public:
    using Read = std::pair<int, std::string>;  // result and bytes of one read

    int doOpen() override { return ++opens, openResult; }
    int doClose() override { return ++closes, 0; }
    int doWrite(Data* request) override {
        written.emplace_back(reinterpret_cast<const char*>(request->get()), request->size());
        if (onWrite) {
            onWrite(written.back());
        }
        return writeResult;
    }
    // The next scripted read; -1 with nothing read once the script is used up.
    int doRead(Data& answer) override {
        ++readCount;
        Read next = !reads.empty() ? reads.front() : Read{-1, ""};
        if (!reads.empty()) {
            reads.pop_front();
        }
        answer.assign(reinterpret_cast<const unsigned char*>(next.second.data()), static_cast<int>(next.second.size()));
        return next.first;
    }

    int openResult = 0, writeResult = 0;
    std::function<void(const std::string&)> onWrite;  // may queue the reads that answer a write
    std::deque<Read> reads;
    std::vector<std::string> written;
    int opens = 0, closes = 0, readCount = 0;
};
