// RDCSupply: the NPA device-characteristics request for the supply levels.
#pragma once

#include "core/DevCommand.h"

class RDCSupply : public DevCommand {
public:
    RDCSupply();
    ~RDCSupply() override;

    // Sends the request in the user's language and, if the printer rejects it with
    // anything but 10, once more in the default language; parses a successful answer.
    // Returns 0, -1 when either pointer is null, otherwise the protocol's error.
    int Execute(Protocol* protocol, Parser* parser) override;

    // Writes the NPA language id into the request: the user's when |useDefault| is
    // false, 0 (English, United States) when true. Returns -1, which callers ignore.
    int setlangId(bool useDefault);
};
