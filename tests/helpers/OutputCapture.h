// OutputCapture: collects what the test process itself writes to fd 1 or 2.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

class OutputCapture {
public:
    // Sends |fd| into an unlinked temporary file until text() or destruction.
    explicit OutputCapture(int fd) : fd_(fd) {
        if (file_ == nullptr) return;
        flushAll();
        saved_ = dup(fd_);
        dup2(fileno(file_.get()), fd_);
    }
    ~OutputCapture() { text(); }

    // Restores the descriptor and returns everything written to it so far.
    std::string text() {
        if (saved_ >= 0) {
            flushAll();
            dup2(saved_, fd_);
            close(saved_);
            saved_ = -1;
        }
        if (file_ == nullptr) return "";
        std::ifstream in("/proc/self/fd/" + std::to_string(fileno(file_.get())), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

private:
    static void flushAll() { std::cout.flush(), std::cerr.flush(), std::fflush(nullptr); }

    int fd_, saved_ = -1;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{std::tmpfile(), &std::fclose};
};
