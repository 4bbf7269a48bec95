// Data: the owned byte buffer passed between commands, protocols, connections and parsers.
#pragma once

#include <memory>
#include <string>

class Data {
public:
    // Empty buffer: no bytes, every field 0.
    Data();
    // Copies |length| bytes from |bytes|; a null pointer or a length below 1 gives an empty buffer.
    Data(const unsigned char* bytes, int length);
    // Copies the characters of |text|, without a terminator.
    explicit Data(const std::string& text);
    // Copies bytes, size, header size and error-checking byte; the copy's error code is 0.
    Data(const Data& other);
    Data& operator=(const Data& other);
    virtual ~Data();

    // Replaces the content with a copy of |length| bytes. A length of 0 (or less)
    // deliberately keeps the old content: callers rely on an empty read not wiping it.
    void assign(const unsigned char* bytes, int length);

    int size() const { return size_; }
    // The bytes, or null when the buffer holds none.
    unsigned char* get() const { return bytes_.get(); }

    int getHeaderSize() const { return headerSize_; }
    void setHeaderSize(int headerSize) { headerSize_ = headerSize; }
    int getErrorCheckingByte() const { return errorCheckingByte_; }
    void setErrorCheckingByte(int index) { errorCheckingByte_ = index; }
    int getErrorCode() const { return errorCode_; }
    void setErrorCode(int errorCode) { errorCode_ = errorCode; }

private:
    std::unique_ptr<unsigned char[]> bytes_;
    int size_ = 0;
    int errorCode_ = 0;
    int headerSize_ = 0;
    int errorCheckingByte_ = 0;
};
