// SimulatorOptions: the ways a simulated printer can be told to misbehave, and its verbosity.
#pragma once

#include <cstddef>

struct SimulatorOptions {
    size_t splitPayload = 0;   // payload bytes per answer packet; 0: the transport's default
    int delayMs = 0;           // wait before each answer
    int dropRequests = 0;      // leave the first N requests unanswered
    bool fail = false;         // set the failure flag on every answer
    bool reorder = false;      // send network answer packets last first
    bool noise = false;        // put a stray byte before each answer
    bool verbose = false;      // log every request and answer on standard error
};
