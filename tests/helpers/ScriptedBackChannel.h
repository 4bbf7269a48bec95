// ScriptedBackChannel: a backend peer that writes scripted answers into the back-channel on fd 3.
#pragma once

#include <string>
#include <vector>

#include "helpers/FdSlot.h"
#include "helpers/PeerProcess.h"

namespace cfftest {

// One write of the peer: |bytes| after a pause of |delayMs| since the previous write.
struct BackChannelChunk {
    std::string bytes;
    int delayMs = 0;
};

// Places the read end of a pipe on fd 3, as cupsd gives it to a filter, and starts a child that
// writes each chunk with cupsBackChannelWrite. |nonBlocking|: both ends non-blocking, as cupsd
// makes them. |closeWhenDone|: the peer closes its end after the last chunk (end of file);
// otherwise it holds it open until stop(). stop() or the destructor restores fd 3.
class ScriptedBackChannel {
public:
    explicit ScriptedBackChannel(std::vector<BackChannelChunk> chunks, bool nonBlocking = true,
                                 bool closeWhenDone = false);
    ~ScriptedBackChannel() { stop(); }
    ScriptedBackChannel(const ScriptedBackChannel&) = delete;
    ScriptedBackChannel& operator=(const ScriptedBackChannel&) = delete;

    bool ok() const { return ok_; }
    // Ends the peer and restores fd 3. Returns the number of chunks written in full, -1 when
    // the peer failed.
    int stop();

private:
    FdSlot slot_;
    PeerProcess peer_;
    int control_ = -1;
    bool ok_ = false;
    bool stopped_ = false;
    int written_ = -1;
};

}  // namespace cfftest
