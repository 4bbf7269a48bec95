// CommandFileFilter: command-file reading, dispatch and the request processor.
#pragma once

#include <list>
#include <string>

#include "core/RequestType.h"

class DevCommand;
class Logger;

// Runs the filter on the arguments that the spooler passes; always returns 0.
int commandFileFilterMain(int argc, char* argv[]);
// DEVICE_URI, or "" when it is not set.
std::string getDevURI();
// After a supply report on an older Darwin host, writes the fixed loopback bytes to
// standard output: 00 00 for an IPP device, A5 00 06 40 03 04 20 20 20 otherwise.
// Does nothing on any other host. Its lines go to |logger|, the caller's trace.
void commandLoopback(Logger& logger);
// Handles one request end to end: -1 for an empty URI, otherwise 0.
int process(std::string uri, RequestType type);
// Deletes every non-null command and empties the list.
void deleteCommands(std::list<DevCommand*>& commands);
