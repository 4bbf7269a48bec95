#include "helpers/ScriptedBackChannel.h"

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace cfftest {

ScriptedBackChannel::ScriptedBackChannel(std::vector<BackChannelChunk> chunks, bool nonBlocking,
                                         bool closeWhenDone)
    : slot_(3) {
    int channel[2], control[2];
    if (pipe(channel) != 0) return;
    if (pipe(control) != 0) {
        close(channel[0]);
        close(channel[1]);
        return;
    }
    int readEnd = moveAboveTen(channel[0]), writeEnd = moveAboveTen(channel[1]);
    int controlRead = moveAboveTen(control[0]);
    control_ = moveAboveTen(control[1]);
    for (int fd : {readEnd, writeEnd}) {
        if (nonBlocking) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    bool started = peer_.start({{writeEnd, 3}, {controlRead, 5}}, [chunks, closeWhenDone] {
        int written = 0;
        for (const BackChannelChunk& chunk : chunks) {
            std::this_thread::sleep_for(std::chrono::milliseconds(chunk.delayMs));
            if (cupsBackChannelWrite(chunk.bytes.data(), chunk.bytes.size(), 5.0) !=
                static_cast<ssize_t>(chunk.bytes.size())) {
                break;
            }
            ++written;
        }
        char ignored;
        while (!closeWhenDone && read(5, &ignored, 1) > 0) {
        }
        return written;
    });
    close(writeEnd);
    close(controlRead);
    ok_ = started && slot_.place(readEnd);
}

int ScriptedBackChannel::stop() {
    if (stopped_) return written_;
    stopped_ = true;
    if (control_ >= 0) close(control_);
    written_ = peer_.wait();
    slot_.restore();
    return written_;
}

}  // namespace cfftest
