// FdSlot: puts a descriptor on a fixed number (3, 4) for a while and restores what was there.
#pragma once

namespace cfftest {

// Moves |fd| to a number of 10 or more (close-on-exec), closing the original, so that later
// placement with dup2 never collides with fds 0 to 9. Returns the new number.
int moveAboveTen(int fd);

// Saves what is on |target| when constructed, so create it BEFORE the descriptor to place:
// a new pipe or socket may land on a closed |target|.
class FdSlot {
public:
    explicit FdSlot(int target);
    ~FdSlot() { restore(); }
    FdSlot(const FdSlot&) = delete;
    FdSlot& operator=(const FdSlot&) = delete;

    // Duplicates |fd| onto the target (without close-on-exec) and closes |fd|.
    bool place(int fd);
    // Puts the saved descriptor back (or closes the target if there was none). Idempotent.
    void restore();

private:
    int target_;
    int saved_ = -1;
    bool restored_ = false;
};

}  // namespace cfftest
