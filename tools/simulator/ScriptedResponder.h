// ScriptedResponder: a printer that plays a script: exact answer bytes, packet splits and
// delays for the requests it expects, silence for the rest.
#pragma once

#include <string>
#include <vector>

#include "Responder.h"

class ScriptedResponder : public Responder {
public:
    // One scripted answer. It goes to the first request not yet answered whose kind is
    // |kind| (any kind but the mode command and the loopback when |anyRequest|) and whose
    // bytes start with |prefix|. |packets| are sent as they are, each one on its own;
    // none is silence.
    struct Step {
        std::vector<std::string> packets;
        int delayMs = 0;
        bool anyRequest = true;
        NpaRequest::Kind kind = NpaRequest::kUnknown;
        std::string prefix;
    };

    // |closeWhenDone|: exhausted() turns true once every step has been played.
    explicit ScriptedResponder(std::vector<Step> steps, bool closeWhenDone = true)
        : steps_(std::move(steps)), played_(steps_.size(), false), closeWhenDone_(closeWhenDone) {}

    // A step answering the next request with |packets|.
    static Step answer(std::vector<std::string> packets, int delayMs = 0);
    // The answer packet framing: start byte, the 16-bit length of what follows, |flags|,
    // |echo| and |payload|.
    static std::string packet(unsigned char flags, unsigned char echo, const std::string& payload);

    std::vector<std::string> respond(const NpaRequest& request) override;
    bool exhausted() const override;

private:
    std::vector<Step> steps_;
    std::vector<bool> played_;
    bool closeWhenDone_;
};
