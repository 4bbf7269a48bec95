// WriterSTDERR: writes a writer's text to standard error, where the spooler reads it.
#pragma once

#include "ppd/WriterStream.h"

class WriterSTDERR : public WriterStream {
public:
    // |stream| is not owned; tests pass a file of their own.
    explicit WriterSTDERR(FILE* stream = stderr) : stream_(stream) {}
    int WriteData(std::string text) override;

private:
    FILE* stream_;
};
