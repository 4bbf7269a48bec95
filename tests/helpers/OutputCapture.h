// OutputCapture: collects what the test process itself writes to fd 1 or 2.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

class OutputCapture {
public:
    // Sends |fd| into an unlinked temporary file until text() or destruction.
    explicit OutputCapture(int fd) : fd_(fd) {
        char path[] = "/tmp/cff-capture-XXXXXX";
        file_ = mkstemp(path);
        if (file_ < 0) return;
        unlink(path);
        flushAll();
        saved_ = dup(fd_);
        dup2(file_, fd_);
    }
    ~OutputCapture() {
        text();
        if (file_ >= 0) close(file_);
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // Restores the descriptor and returns everything written to it so far.
    std::string text() {
        if (saved_ >= 0) {
            flushAll();
            dup2(saved_, fd_);
            close(saved_);
            saved_ = -1;
        }
        std::string collected;
        char buffer[4096];
        for (ssize_t got; file_ >= 0 && (got = pread(file_, buffer, sizeof buffer, collected.size())) > 0;) {
            collected.append(buffer, static_cast<size_t>(got));
        }
        return collected;
    }

private:
    static void flushAll() {
        std::cout.flush();
        std::cerr.flush();
        std::fflush(nullptr);
    }

    int fd_, saved_ = -1, file_ = -1;
};
