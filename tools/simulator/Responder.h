// Responder: what a simulated printer sends back for each packet request, whatever decides it.
#pragma once

#include <string>
#include <vector>

#include "NpaRequest.h"

class Responder {
public:
    virtual ~Responder() = default;

    // The packets that answer |request|, in sending order; empty for no answer. May wait
    // before returning, to play a slow printer.
    virtual std::vector<std::string> respond(const NpaRequest& request) = 0;
    // True once the printer has nothing more to say, so that a backend can close its
    // back-channel and let the host's reads end at once.
    virtual bool exhausted() const { return false; }
};
