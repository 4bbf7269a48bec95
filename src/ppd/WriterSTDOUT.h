// WriterSTDOUT: writes a writer's text to standard output.
#pragma once

#include "ppd/WriterStream.h"

class WriterSTDOUT : public WriterStream {
public:
    // |stream| is not owned; tests pass a file of their own.
    explicit WriterSTDOUT(FILE* stream = stdout) : stream_(stream) {}
    int WriteData(std::string text) override;

private:
    FILE* stream_;
};
