// RDCCmd: the NPA device-characteristics request for the installed options.
#pragma once

#include "core/DevCommand.h"

class RDCCmd : public DevCommand {
public:
    RDCCmd();
    ~RDCCmd() override;
};
