// OutputCapture: collects what the test process itself writes to a standard descriptor.
#pragma once

#include <string>

class OutputCapture {
public:
    // Starts sending |fd| (1 or 2) into a temporary file.
    explicit OutputCapture(int fd);
    // Restores the descriptor if text() was not called.
    ~OutputCapture();

    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // Flushes the standard streams, restores the descriptor and returns what was written.
    std::string text();

private:
    void restore();

    int fd_;
    int saved_ = -1;
    int file_ = -1;
};
