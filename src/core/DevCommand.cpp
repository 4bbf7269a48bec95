// DevCommand: one device command; owns its request bytes and its last answer.
#include "core/DevCommand.h"

#include "parser/Parser.h"
#include "protocol/Protocol.h"

unsigned int DevCommand::requestID_ = 1;

DevCommand::DevCommand(CommandID commandId, int respHeaderSize)
    : respHeaderSize_(respHeaderSize), commandId_(commandId) {}

DevCommand::~DevCommand() = default;

Data* DevCommand::getCommand(int /*requestID*/) { return request_.get(); }

int DevCommand::Execute(Protocol* protocol, Parser* parser) {
    if (protocol == nullptr || parser == nullptr) {
        return -1;
    }
    setResponse(new Data());
    int id = static_cast<int>(requestID_++);
    Data* command = getCommand(id);
    int result = protocol->doRequest(command, *response_);
    if (result != 0) {
        return result;
    }
    parser->parseData(response_.get(), commandId_);
    return 0;
}
