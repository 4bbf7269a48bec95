// NpaStreamReader: cuts a byte stream that may split or join packets into whole packets.
#include "NpaStreamReader.h"

std::vector<std::string> NpaStreamReader::add(const char* bytes, size_t count) {
    buffer_.append(bytes, count);
    std::vector<std::string> packets;
    for (;;) {
        size_t start = buffer_.find('\xA5');
        if (start == std::string::npos) {
            discarded_ += buffer_.size();
            buffer_.clear();
            break;
        }
        if (start > 0) {
            discarded_ += start;
            buffer_.erase(0, start);
        }
        if (buffer_.size() < 3) {
            break;
        }
        size_t length = (static_cast<unsigned char>(buffer_[1]) << 8) | static_cast<unsigned char>(buffer_[2]);
        if (buffer_.size() < length + 3) {
            break;
        }
        packets.push_back(buffer_.substr(0, length + 3));
        buffer_.erase(0, length + 3);
    }
    return packets;
}
