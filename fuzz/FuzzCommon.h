// FuzzCommon: pieces every fuzz target uses: the NPA command a selector names, and a parser's queries.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "core/DevCommand.h"
#include "core/RDCCmd.h"
#include "core/RDCSupply.h"
#include "core/ROCCmd.h"
#include "FuzzReads.h"
#include "parser/NPAParser.h"
#include "parser/Parser.h"
#include "protocol/NPAResp.h"

namespace fuzz_common {

// The NPA command whose request is sent: its echo byte decides which answer packets count.
inline std::unique_ptr<DevCommand> npaCommand(uint8_t selector) {
    switch (selector % 3) {
        case 0:
            return std::make_unique<RDCSupply>();
        case 1:
            return std::make_unique<RDCCmd>();
        default:
            return std::make_unique<ROCCmd>(REQ_INSTALLABLE_OPTIONS);
    }
}

// Asks every question a writer asks, so whatever was decoded is also read back.
inline void askEverything(Parser& parser) {
    std::list<supplyInfo_*> supplies;
    parser.getSupplyInfo(supplies);
    for (supplyInfo_* supply : supplies) {
        if (supply == nullptr) {
            __builtin_trap();
        }
    }
    std::map<int, std::string> names;
    parser.getTrays(names);
    parser.getBins(names);
    parser.getFinishers(names);
    int value = 0;
    parser.getDuplex(value);
    parser.getFLash(value);
    parser.getSNMPCodePage(value);
    parser.getManualFeeder(value);
}

// One NPA request over protocol |P| (either framing): selector byte, then the reads; a joined
// answer is parsed and every question asked.
template <class P>
int runNpaRequest(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    auto* connection = new ScriptedConnection();
    fuzz_reads::scriptReads(data + 1, size - 1, *connection);
    P protocol(connection);
    protocol.assignResponseBuilder(new NPAResp());
    std::unique_ptr<DevCommand> command = npaCommand(data[0]);
    Data answer;
    if (protocol.doRequest(command->getCommand(1), answer) == 0) {
        NPAParser parser;
        parser.parseData(&answer, command->getCommandID());
        askEverything(parser);
    }
    return 0;
}

}  // namespace fuzz_common
