// ScriptedResponder: a printer that plays a script: exact answer bytes, packet splits and
// delays for the requests it expects, silence for the rest.
#include "ScriptedResponder.h"

#include <chrono>
#include <thread>

#include "SimulatorLog.h"

ScriptedResponder::Step ScriptedResponder::answer(std::vector<std::string> packets, int delayMs) {
    Step step;
    step.packets = std::move(packets);
    step.delayMs = delayMs;
    return step;
}

std::string ScriptedResponder::packet(unsigned char flags, unsigned char echo, const std::string& payload) {
    size_t length = payload.size() + 2;
    std::string out = {'\xA5', static_cast<char>(length >> 8), static_cast<char>(length), static_cast<char>(flags),
                       static_cast<char>(echo)};
    return out + payload;
}

std::vector<std::string> ScriptedResponder::respond(const NpaRequest& request) {
    SimulatorLog::debug("received %s", NpaRequest::kindName(request.kind));
    bool control = request.kind == NpaRequest::kModeCommand || request.kind == NpaRequest::kLoopback;
    for (size_t i = 0; i < steps_.size(); ++i) {
        const Step& step = steps_[i];
        bool kindMatches = step.anyRequest ? !control : step.kind == request.kind;
        if (played_[i] || !kindMatches || request.bytes.compare(0, step.prefix.size(), step.prefix) != 0) {
            continue;
        }
        played_[i] = true;
        if (step.delayMs > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(step.delayMs));
        }
        return step.packets;
    }
    return {};
}

bool ScriptedResponder::exhausted() const {
    if (!closeWhenDone_) {
        return false;
    }
    for (bool played : played_) {
        if (!played) {
            return false;
        }
    }
    return true;
}
