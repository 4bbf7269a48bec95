// Fuzz target: a whole request as the filter runs it, from commands through protocol and parser to the writer.
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "FuzzReads.h"
#include "core/CommandFileFilter.h"
#include "core/CommandManager.h"
#include "core/DevCommand.h"
#include "parser/Parser.h"
#include "parser/ParserFactory.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/WriterStream.h"
#include "protocol/CUPSSNMPProtocol.h"
#include "protocol/NPABiDiProtocol.h"
#include "protocol/NPAProtocol.h"
#include "protocol/ResponseFactory.h"
#include "protocol/SNMPProtocol.h"

namespace {

// Collects the writer's output in memory instead of on a standard stream.
class MemoryStream : public WriterStream {
public:
    int WriteData(std::string text) override {
        out_ += text;
        return 0;
    }

private:
    std::string out_;
};

// The protocol and request pairs the filter can actually form.
struct Dialogue {
    int protocol;  // 0 packet framing, 1 network framing, 2 SNMP, 3 backend SNMP channel
    RequestType request;
};
constexpr Dialogue kDialogues[] = {
    {0, REQ_SUPPLY_LEVELS}, {0, REQ_INSTALLABLE_OPTIONS}, {1, REQ_SUPPLY_LEVELS},
    {2, REQ_INSTALLABLE_OPTIONS}, {3, REQ_SUPPLY_LEVELS},
};

Protocol* makeProtocol(int kind, Connection* connection) {
    switch (kind) {
        case 0:
            return new NPAProtocol(connection);
        case 1:
            return new NPABiDiProtocol(connection);
        case 2:
            return new SNMPProtocol(connection);
        default:
            return new CUPSSNMPProtocol(connection);
    }
}

}  // namespace

// Input: selector byte (which dialogue), then every read of the whole request, answers
// separated by failed reads.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    const Dialogue& dialogue = kDialogues[data[0] % (sizeof kDialogues / sizeof kDialogues[0])];
    auto* connection = new ScriptedConnection();
    fuzz_reads::scriptReads(data + 1, size - 1, *connection);
    std::unique_ptr<Protocol> protocol(makeProtocol(dialogue.protocol, connection));
    connection->setProtocol(protocol.get());
    protocol->assignResponseBuilder(ResponseFactory::createResponseBuilder(protocol->getProtocolType()));

    std::unique_ptr<Parser> parser(ParserFactory::createParser(protocol->getProtocolType()));
    CommandManager manager;
    std::list<DevCommand*> commands = manager.getCommand(dialogue.request, protocol->getProtocolType());
    for (DevCommand* command : commands) {
        if (command != nullptr) {
            command->Execute(protocol.get(), parser.get());
        }
    }
    PPDStringModifier writer;
    writer.setOutputMode(new MemoryStream());
    writer.writeData(dialogue.request, parser.get());
    deleteCommands(commands);
    return 0;
}
