// Data: the owned byte buffer passed between commands, protocols, connections and parsers.
#include "core/Data.h"

#include <cstring>

Data::Data() = default;

Data::Data(const unsigned char* bytes, int length) { assign(bytes, length); }

Data::Data(const std::string& text)
    : Data(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())) {}

Data::Data(const Data& other)
    : headerSize_(other.headerSize_), errorCheckingByte_(other.errorCheckingByte_) {
    assign(other.bytes_.get(), other.size_);
}

Data& Data::operator=(const Data& other) {
    if (this == &other) {
        return *this;
    }
    if (other.size_ > 0 && other.bytes_) {
        assign(other.bytes_.get(), other.size_);
    } else {
        bytes_.reset();
        size_ = 0;
    }
    headerSize_ = other.headerSize_;
    errorCheckingByte_ = other.errorCheckingByte_;
    // A copy starts without the error of its source.
    errorCode_ = 0;
    return *this;
}

Data::~Data() = default;

void Data::assign(const unsigned char* bytes, int length) {
    if (bytes == nullptr || length <= 0) {
        return;
    }
    std::unique_ptr<unsigned char[]> copy(new unsigned char[static_cast<size_t>(length)]);
    std::memcpy(copy.get(), bytes, static_cast<size_t>(length));
    bytes_ = std::move(copy);
    size_ = length;
}
