// Test helper: a Connection that replays scripted reads and records what was written.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "connection/Connection.h"

class SNMPScriptedConnection : public Connection {
public:
    struct Read {
        int rc;
        std::vector<unsigned char> bytes;
    };

    int doOpen() override;
    int doClose() override;
    int doWrite(Data* request) override;
    // Replays the next scripted read; once the script is used up, |endless| (when set)
    // produces the reads, otherwise -1 with nothing read.
    int doRead(Data& answer) override;

    void addRead(int rc, const std::vector<unsigned char>& bytes) { reads.push_back({rc, bytes}); }
    void addRead(int rc, const std::string& text) { reads.push_back({rc, {text.begin(), text.end()}}); }

    int openResult = 0;
    int writeResult = 0;
    // Called on every write with the bytes written, before writeResult is returned; may
    // queue the reads that answer it.
    std::function<void(const std::vector<unsigned char>&)> onWrite;
    std::function<Read()> endless;
    std::deque<Read> reads;

    std::vector<std::vector<unsigned char>> written;
    int opens = 0;
    int closes = 0;
    int readCount = 0;
};
