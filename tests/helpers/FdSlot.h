// FdSlot: puts a descriptor on a fixed number (3, 4) for a while and restores what was there.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace cfftest {

// Moves |fd| to a number of 10 or more (close-on-exec), out of the way of fds 0 to 9.
inline int moveAboveTen(int fd) {
    if (fd < 0 || fd >= 10) return fd;
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, 10);
    close(fd);
    return moved;
}

// Create it BEFORE the descriptor to place: a new pipe or socket may land on a closed |target|.
class FdSlot {
public:
    explicit FdSlot(int target) : target_(target), saved_(fcntl(target, F_DUPFD_CLOEXEC, 10)) {}
    ~FdSlot() { restore(); }
    FdSlot(const FdSlot&) = delete;
    FdSlot& operator=(const FdSlot&) = delete;

    // Duplicates |fd| onto the target (without close-on-exec) and closes |fd|.
    bool place(int fd) {
        fd = moveAboveTen(fd);
        bool placed = fd >= 0 && dup2(fd, target_) == target_;
        if (fd >= 0) close(fd);
        return placed;
    }
    // Puts the saved descriptor back (or closes the target if there was none). Idempotent.
    void restore() {
        if (std::exchange(restored_, true)) return;
        if (saved_ < 0) close(target_);
        else dup2(saved_, target_), close(saved_);
    }

private:
    int target_, saved_;
    bool restored_ = false;
};

}  // namespace cfftest
