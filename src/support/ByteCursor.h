// ByteCursor: the one bounds-checked reader for bytes that come from a device.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// A read position over (pointer, size). Every read checks the remaining length; a read
// that would go past the end reads nothing, yields 0 (or an empty text) and marks the
// cursor as past the end, which stays set. Within the bounds a read behaves exactly like
// an unchecked one, so well-formed input decodes unchanged.
class ByteCursor {
public:
    ByteCursor() = default;
    ByteCursor(const unsigned char* base, size_t size) : base_(base), size_(base ? size : 0) {}

    size_t size() const { return size_; }
    size_t position() const { return pos_; }
    size_t remaining() const { return pos_ < size_ ? size_ - pos_ : 0; }
    bool atEnd() const { return pos_ >= size_; }
    // True once any read or move has tried to go past the end.
    bool pastEnd() const { return pastEnd_; }
    const unsigned char* base() const { return base_; }

    // Moves to |position|; a position beyond the end marks the cursor past the end.
    bool seek(size_t position) {
        if (position > size_) {
            pos_ = size_;
            pastEnd_ = true;
            return false;
        }
        pos_ = position;
        return true;
    }

    // Moves |count| bytes forward.
    bool skip(size_t count) {
        if (count > remaining()) {
            pos_ = size_;
            pastEnd_ = true;
            return false;
        }
        pos_ += count;
        return true;
    }

    // The byte at |offset| from the current position without moving; 0 past the end.
    uint8_t peek(size_t offset = 0) const {
        return offset < remaining() ? base_[pos_ + offset] : 0;
    }
    // True when |count| bytes from |offset| lie inside the buffer.
    bool has(size_t offset, size_t count) const {
        return offset <= remaining() && count <= remaining() - offset;
    }

    bool readByte(uint8_t& out) {
        if (!has(0, 1)) {
            out = 0;
            pastEnd_ = true;
            pos_ = size_;
            return false;
        }
        out = base_[pos_++];
        return true;
    }

    // Unsigned big-endian number of |width| bytes (0 for a width below 1). Widths above
    // 8 keep the low 64 bits, as shifting the bytes in one by one does.
    uint64_t readBigEndian(size_t width) {
        if (!has(0, width)) {
            pos_ = size_;
            pastEnd_ = true;
            return 0;
        }
        uint64_t value = 0;
        for (size_t i = 0; i < width; ++i) {
            value = (value << 8) | base_[pos_ + i];
        }
        pos_ += width;
        return value;
    }

    // The same number read at |offset| from the current position without moving.
    uint64_t peekBigEndian(size_t offset, size_t width) const {
        if (!has(offset, width)) {
            return 0;
        }
        uint64_t value = 0;
        for (size_t i = 0; i < width; ++i) {
            value = (value << 8) | base_[pos_ + offset + i];
        }
        return value;
    }

    // |count| bytes as a text; on overrun, what is left and the cursor past the end.
    std::string readText(size_t count) {
        size_t take = count <= remaining() ? count : remaining();
        std::string text(reinterpret_cast<const char*>(base_ + pos_), take);
        pos_ += take;
        if (take < count) {
            pastEnd_ = true;
        }
        return text;
    }

    // A cursor over the next |count| bytes (clipped to what is left); this one does not move.
    ByteCursor window(size_t count) const {
        size_t take = count <= remaining() ? count : remaining();
        return ByteCursor(base_ ? base_ + pos_ : nullptr, take);
    }

private:
    const unsigned char* base_ = nullptr;
    size_t size_ = 0;
    size_t pos_ = 0;
    bool pastEnd_ = false;
};
