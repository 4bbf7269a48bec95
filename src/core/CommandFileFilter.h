// CommandFileFilter: command-file reading, dispatch and the request processor.
#pragma once

#include <list>
#include <string>

#include "core/RequestType.h"

class DevCommand;

// Runs the filter on the arguments that the spooler passes; always returns 0.
int commandFileFilterMain(int argc, char* argv[]);
// DEVICE_URI, or "" when it is not set.
std::string getDevURI();
// Handles one request end to end: -1 for an empty URI, otherwise 0.
int process(std::string uri, RequestType type);
// Deletes every non-null command and empties the list.
void deleteCommands(std::list<DevCommand*>& commands);
