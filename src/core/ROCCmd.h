// ROCCmd: the NPA request for the printer's text description of its options.
#pragma once

#include "core/DevCommand.h"
#include "core/RequestType.h"

class ROCCmd : public DevCommand {
public:
    // The request type is accepted for the command list's sake and not used.
    explicit ROCCmd(RequestType type);
    ~ROCCmd() override;
};
