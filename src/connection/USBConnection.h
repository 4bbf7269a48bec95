// USBConnection: the direct transport to a printer's USB print interface.
#pragma once

#include <string>

#include "connection/Connection.h"

class USBConnection : public Connection {
public:
    explicit USBConnection(std::string uri);
    ~USBConnection() override;

    int doOpen() override;
    int doClose() override;
    int doWrite(Data* request) override;
    int doRead(Data& answer) override;
};
