// ScriptedBackChannel: a backend peer that writes scripted answers into the back-channel on fd 3.
#pragma once

#include <string>
#include <vector>

#include "helpers/FdSlot.h"
#include "helpers/PeerProcess.h"

namespace cfftest {

// One write of the peer: |bytes| after a pause of |delayMs| (counted from the previous write,
// or from the start).
struct BackChannelChunk {
    std::string bytes;
    int delayMs = 0;
};

// Places the read end of a pipe on fd 3 of this process, as cupsd gives it to a filter,
// and starts a child that writes each chunk with cupsBackChannelWrite. The previous fd 3
// comes back with stop() or the destructor.
//
//   cfftest::ScriptedBackChannel peer({{"\x01\x02", 0}, {"more", 150}});
//   ... code under test reads fd 3 ...
//   EXPECT_EQ(peer.stop(), 2);
class ScriptedBackChannel {
public:
    struct Options {
        // Both pipe ends non-blocking, as cupsd makes them; false gives a blocking pipe.
        bool nonBlocking = true;
        // The peer closes its end after the last chunk (readers then see end of file).
        // Otherwise it keeps it open until stop(), so reads wait and time out.
        bool closeWhenDone = false;
    };

    explicit ScriptedBackChannel(std::vector<BackChannelChunk> chunks);
    ScriptedBackChannel(std::vector<BackChannelChunk> chunks, Options options);
    ~ScriptedBackChannel();
    ScriptedBackChannel(const ScriptedBackChannel&) = delete;
    ScriptedBackChannel& operator=(const ScriptedBackChannel&) = delete;

    // True when the pipe is on fd 3 and the peer runs.
    bool ok() const { return ok_; }
    // Ends the peer and restores fd 3. Returns the number of chunks written in full,
    // or -1 when the peer failed. Later calls return the same.
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
