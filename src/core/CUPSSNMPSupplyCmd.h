// CUPSSNMPSupplyCmd: walks the four Printer MIB subtrees that describe the supplies.
#pragma once

#include <map>
#include <string>

#include "core/DevCommand.h"

class CUPSSNMPSupplyCmd : public DevCommand {
public:
    CUPSSNMPSupplyCmd();
    ~CUPSSNMPSupplyCmd() override;

    // Replaces the request with the subtree root of request number |requestID| as text;
    // for an unknown number the previous request is returned unchanged.
    Data* getCommand(int requestID) override;
    // Walks subtrees 0 to 3 in order, parsing each that the channel answered; a failed
    // subtree is logged and skipped. Returns -1 when either pointer is null, else the
    // result of the last parse (-1 when no subtree was answered).
    int Execute(Protocol* protocol, Parser* parser) override;

    // Request number -> subtree root.
    static const std::map<int, std::string>& getSubtreeMap();
};
