// OutputCapture: collects what the test process writes to standard output (fd 1) or standard
// error (fd 2) until text() or the end of its scope, through GoogleTest's own capture.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

class OutputCapture {
public:
    explicit OutputCapture(int fd) : fd_(fd) { fd_ == 1 ? testing::internal::CaptureStdout() : testing::internal::CaptureStderr(); }
    ~OutputCapture() { text(); }

    // Ends the capture (the first time) and returns everything written while it lasted.
    std::string text() {
        if (!std::exchange(done_, true)) {
            text_ = fd_ == 1 ? testing::internal::GetCapturedStdout() : testing::internal::GetCapturedStderr();
        }
        return text_;
    }

private:
    int fd_;
    bool done_ = false;
    std::string text_;
};
