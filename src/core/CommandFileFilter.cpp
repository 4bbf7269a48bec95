// CommandFileFilter: command-file reading, dispatch and the request processor.
// Placeholder until the dispatch is written.
#include "core/CommandFileFilter.h"

#include <cstdlib>

#include "core/DevCommand.h"

int commandFileFilterMain(int, char*[]) { return 0; }

std::string getDevURI() {
    const char* uri = std::getenv("DEVICE_URI");
    return uri ? uri : "";
}

int process(std::string uri, RequestType) { return uri.empty() ? -1 : 0; }

void deleteCommands(std::list<DevCommand*>& commands) {
    for (DevCommand* command : commands) {
        delete command;
    }
    commands.clear();
}
