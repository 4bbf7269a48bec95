// OutputCapture: collects what the test process itself writes to a standard descriptor.
#include "OutputCapture.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

OutputCapture::OutputCapture(int fd) : fd_(fd) {
    std::fflush(nullptr);
    std::cout.flush();
    std::cerr.flush();
    char path[] = "/tmp/cff-capture-XXXXXX";
    file_ = mkstemp(path);
    if (file_ < 0) {
        return;
    }
    unlink(path);
    saved_ = dup(fd_);
    dup2(file_, fd_);
}

OutputCapture::~OutputCapture() {
    restore();
    if (file_ >= 0) {
        close(file_);
    }
}

void OutputCapture::restore() {
    if (saved_ < 0) {
        return;
    }
    std::fflush(nullptr);
    std::cout.flush();
    std::cerr.flush();
    dup2(saved_, fd_);
    close(saved_);
    saved_ = -1;
}

std::string OutputCapture::text() {
    restore();
    std::string collected;
    if (file_ < 0) {
        return collected;
    }
    char buffer[4096];
    off_t offset = 0;
    ssize_t got;
    while ((got = pread(file_, buffer, sizeof buffer, offset)) > 0) {
        collected.append(buffer, static_cast<size_t>(got));
        offset += got;
    }
    return collected;
}
