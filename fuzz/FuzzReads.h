// FuzzReads: the layout shared by fuzz inputs and their seeds: a selector byte, then device reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ScriptedConnection.h"

namespace fuzz_reads {

// A read is a 2-byte big-endian length and that many bytes; the length kFailedRead stands for
// a read that fails (a time-out), which is how one answer is told from the next.
constexpr uint16_t kFailedRead = 0xFFFF;
// More reads than any answer needs; keeps one input from running for long.
constexpr size_t kMaxReads = 256;
constexpr int kFailedReadStatus = 10;

// Reads taken from |data|; a truncated last read keeps the bytes that are there.
inline void scriptReads(const uint8_t* data, size_t size, ScriptedConnection& connection) {
    size_t at = 0;
    for (size_t reads = 0; at + 2 <= size && reads < kMaxReads; ++reads) {
        uint16_t length = static_cast<uint16_t>(data[at] << 8 | data[at + 1]);
        at += 2;
        if (length == kFailedRead) {
            connection.reads.push_back({{}, kFailedReadStatus});
            continue;
        }
        size_t take = length < size - at ? length : size - at;
        connection.addRead(ScriptedConnection::Bytes(data + at, data + at + take));
        at += take;
    }
}

// Appends one read in the same layout (seed generation).
inline void appendRead(std::string& out, const std::string& bytes) {
    size_t length = bytes.size() < kFailedRead ? bytes.size() : kFailedRead - 1;
    out.push_back(static_cast<char>(length >> 8));
    out.push_back(static_cast<char>(length & 0xFF));
    out.append(bytes, 0, length);
}

inline void appendFailedRead(std::string& out) {
    out.push_back(static_cast<char>(kFailedRead >> 8));
    out.push_back(static_cast<char>(kFailedRead & 0xFF));
}

}  // namespace fuzz_reads
