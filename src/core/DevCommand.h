// DevCommand: one device command; owns its request bytes and its last answer.
#pragma once

#include <memory>

#include "core/CommandID.h"
#include "core/Data.h"

class Protocol;
class Parser;

class DevCommand {
public:
    DevCommand(CommandID commandId, int respHeaderSize);
    virtual ~DevCommand();

    // The request to send (still owned by the command). The base ignores |requestID|
    // and hands back the fixed request.
    virtual Data* getCommand(int requestID);
    // Sends the request and hands the answer to |parser|: 0 on success, -1 when either
    // pointer is null, otherwise the protocol's error.
    virtual int Execute(Protocol* protocol, Parser* parser);

    CommandID getCommandID() const { return commandId_; }
    Data* getResponse() const { return response_.get(); }
    int getRespHeaderSize() const { return respHeaderSize_; }

    // Process-wide request counter shared by every command; starts at 1.
    static unsigned int requestID_;

protected:
    // Replaces the request (taking ownership).
    void setRequest(Data* request) { request_.reset(request); }
    // Replaces the last answer (taking ownership).
    void setResponse(Data* response) { response_.reset(response); }
    Data* request() const { return request_.get(); }

private:
    std::unique_ptr<Data> request_;
    std::unique_ptr<Data> response_;
    int respHeaderSize_;
    CommandID commandId_;
};
