#include "helpers/FdSlot.h"

#include <fcntl.h>
#include <unistd.h>

namespace cfftest {

int moveAboveTen(int fd) {
    if (fd < 0 || fd >= 10) return fd;
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, 10);
    close(fd);
    return moved;
}

FdSlot::FdSlot(int target) : target_(target), saved_(fcntl(target, F_DUPFD_CLOEXEC, 10)) {}

bool FdSlot::place(int fd) {
    fd = moveAboveTen(fd);
    if (fd < 0) return false;
    bool placed = dup2(fd, target_) == target_;
    close(fd);
    return placed;
}

void FdSlot::restore() {
    if (restored_) return;
    restored_ = true;
    if (saved_ >= 0) {
        dup2(saved_, target_);
        close(saved_);
    } else {
        close(target_);
    }
}

}  // namespace cfftest
