// ScriptedBackChannel: a backend peer that writes scripted answers into the back-channel on fd 3.
#include "helpers/ScriptedBackChannel.h"

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace cfftest {

ScriptedBackChannel::ScriptedBackChannel(std::vector<BackChannelChunk> chunks)
    : ScriptedBackChannel(std::move(chunks), Options()) {}

ScriptedBackChannel::ScriptedBackChannel(std::vector<BackChannelChunk> chunks, Options options)
    : slot_(3) {
    int channel[2];
    int control[2];
    if (pipe(channel) != 0) {
        return;
    }
    if (pipe(control) != 0) {
        close(channel[0]);
        close(channel[1]);
        return;
    }
    int readEnd = moveAboveTen(channel[0]);
    int writeEnd = moveAboveTen(channel[1]);
    int controlRead = moveAboveTen(control[0]);
    control_ = moveAboveTen(control[1]);
    if (options.nonBlocking) {
        fcntl(readEnd, F_SETFL, fcntl(readEnd, F_GETFL) | O_NONBLOCK);
        fcntl(writeEnd, F_SETFL, fcntl(writeEnd, F_GETFL) | O_NONBLOCK);
    }
    bool holdOpen = !options.closeWhenDone;
    bool started = peer_.start({{writeEnd, 3}, {controlRead, 5}}, [chunks, holdOpen]() {
        int written = 0;
        for (const BackChannelChunk& chunk : chunks) {
            std::this_thread::sleep_for(std::chrono::milliseconds(chunk.delayMs));
            ssize_t count = cupsBackChannelWrite(chunk.bytes.data(), chunk.bytes.size(), 5.0);
            if (count != static_cast<ssize_t>(chunk.bytes.size())) {
                break;
            }
            ++written;
        }
        if (holdOpen) {
            char ignored;
            while (read(5, &ignored, 1) > 0) {
            }
        }
        return written;
    });
    close(writeEnd);
    close(controlRead);
    ok_ = started && slot_.place(readEnd);
}

ScriptedBackChannel::~ScriptedBackChannel() { stop(); }

int ScriptedBackChannel::stop() {
    if (stopped_) {
        return written_;
    }
    stopped_ = true;
    if (control_ >= 0) {
        close(control_);
        control_ = -1;
    }
    written_ = peer_.wait();
    slot_.restore();
    return written_;
}

}  // namespace cfftest
