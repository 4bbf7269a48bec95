// NpaStreamReader: cuts a byte stream that may split or join packets into whole packets.
#pragma once

#include <string>
#include <vector>

class NpaStreamReader {
public:
    // Adds bytes as they arrived; returns the packets completed by them, in order. Bytes
    // before a start byte are dropped (and counted), so a stray byte cannot wedge the stream.
    std::vector<std::string> add(const char* bytes, size_t count);
    // Bytes held for a packet that is not complete yet.
    size_t pending() const { return buffer_.size(); }
    size_t discarded() const { return discarded_; }

private:
    std::string buffer_;
    size_t discarded_ = 0;
};
