// USBConnection: the direct transport to a printer's USB print interface.
// Placeholder: no USB access yet.
#include "connection/USBConnection.h"

USBConnection::USBConnection(std::string /*uri*/) {}
USBConnection::~USBConnection() = default;
int USBConnection::doOpen() { return -1; }
int USBConnection::doClose() { return -1; }
int USBConnection::doWrite(Data* /*request*/) { return 0; }
int USBConnection::doRead(Data& /*answer*/) { return -1; }
