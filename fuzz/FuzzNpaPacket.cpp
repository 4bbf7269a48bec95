// Fuzz target: NPA answer packets over the packet framing, repacked and then parsed.
#include <cstddef>
#include <cstdint>

#include "FuzzCommon.h"
#include "FuzzReads.h"
#include "parser/NPAParser.h"
#include "protocol/NPAProtocol.h"
#include "protocol/NPAResp.h"

// Input: selector byte (which request), then the reads.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    auto* connection = new ScriptedConnection();
    fuzz_reads::scriptReads(data + 1, size - 1, *connection);
    NPAProtocol protocol(connection);
    protocol.assignResponseBuilder(new NPAResp());
    std::unique_ptr<DevCommand> command = fuzz_common::npaCommand(data[0]);
    Data answer;
    if (protocol.doRequest(command->getCommand(1), answer) == 0) {
        NPAParser parser;
        parser.parseData(&answer, command->getCommandID());
        fuzz_common::askEverything(parser);
    }
    return 0;
}
