// Connection: moves raw bytes to and from the printer.
#include "connection/Connection.h"

Connection::Connection() = default;

Connection::~Connection() = default;
