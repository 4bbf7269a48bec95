// CupsBackendConnection: requests on standard output to the backend, answers from its back-channel.
#pragma once

#include <cstdio>

#include "connection/Connection.h"

class CupsBackendConnection : public Connection {
public:
    CupsBackendConnection();
    ~CupsBackendConnection() override;

    // Nothing to open or close: both return 0.
    int doOpen() override;
    int doClose() override;
    // Writes the request to the output stream; 0 or -1.
    int doWrite(Data* request) override;
    // Reads up to 512 bytes from the back-channel in at most two attempts; 0 or -1.
    int doRead(Data& answer) override;

    // Stream that requests are written to; null restores standard output. A seam for tests.
    static void setOutputStream(FILE* stream) { outputStream_ = stream; }

    // Bytes read from the back-channel per call.
    static constexpr int kReadSize = 512;

private:
    static FILE* outputStream_;
};
