// CommandFileFilter: command-file reading, dispatch and the request processor.
#include "core/CommandFileFilter.h"

#include <cups/file.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "connection/URLResolver.h"
#include "core/CommandManager.h"
#include "core/DevCommand.h"
#include "parser/Parser.h"
#include "parser/ParserFactory.h"
#include "ppd/IWriter.h"
#include "ppd/WriterFactory.h"
#include "protocol/Protocol.h"
#include "protocol/ProtocolFactory.h"
#include "support/LogSettings.h"
#include "support/Logger.h"
#include "support/Utility.h"

namespace {
constexpr int kCommandBufferSize = 1024;
// The spooler passes the program name and six filter arguments, the last one the file.
constexpr int kFilterArgumentCount = 7;
// Older hosts whose reported major number is at most this get the command loopback.
constexpr int kLoopbackMaxMajor = 6;

// The command file being read. An unknown word ends the run with the file still open;
// holding it here keeps it owned (and reachable for leak checkers) until the process exits.
cups_file_t* commandFile = nullptr;

const unsigned char kIppLoopback[] = {0x00, 0x00};
const unsigned char kNonIppLoopback[] = {0xA5, 0x00, 0x06, 0x40, 0x03, 0x04, 0x20, 0x20, 0x20};

// Only the URI-parsing half of the resolver is needed here: the service type of a
// service-discovery URI. Nothing is ever looked up on the network.
class ServiceTypeResolver : public URLResolver {
public:
    int resolveService(std::string /*serviceInstance*/) override { return -1; }
};
// Descriptors 3 and 4 are the backend's back-channel and side channel. Started by hand
// without them, the next file opened (the command file) would take number 3 and be read as
// printer answers; a missing one is pointed at /dev/null instead, where every read finds
// nothing and so fails as it does when the backend has nothing to say.
void reserveBackendDescriptors() {
    for (int fd : {3, 4}) {
        if (fcntl(fd, F_GETFD) != -1 || errno != EBADF) {
            continue;
        }
        int null = open("/dev/null", O_RDWR);
        if (null >= 0 && null != fd) {
            dup2(null, fd);
            close(null);
        }
    }
}
}  // namespace

int commandFileFilterMain(int argc, char* argv[]) {
    // Before anything else is opened.
    reserveBackendDescriptors();
    // A reader of standard output that goes away must make writes fail, not end the filter.
    std::signal(SIGPIPE, SIG_IGN);

    LogSettings::initialize(true, "CommandFileFilter", "");
    Logger logger("CommandFileFilter", "main()");

    if (argc == kFilterArgumentCount) {
        commandFile = cupsFileOpen(argv[kFilterArgumentCount - 1], "r");
        if (commandFile == nullptr) {
            logger.Log("ERROR = %s", "Unable to open command file");
            return 0;
        }
    } else {
        commandFile = cupsFileStdin();
    }

    int lastResult = 0;
    char buffer[kCommandBufferSize];
    char* value = nullptr;
    int lineNumber = 0;
    while (cupsFileGetConf(commandFile, buffer, sizeof buffer, &value, &lineNumber) != nullptr) {
        if (strcasecmp(buffer, "ReportLevels") == 0) {
            logger.Log("Command =%s", "ReportLevels");
            lastResult = process(getDevURI(), REQ_SUPPLY_LEVELS);
            commandLoopback(logger);
        } else if (strcasecmp(buffer, "AutoConfigure") == 0) {
            logger.Log("Command =%s", "AutoConfigure");
            lastResult = process(getDevURI(), REQ_INSTALLABLE_OPTIONS);
        } else if (strcasecmp(buffer, "PrintSelfTestPage") == 0) {
            continue;
        } else {
            // Intended: an unknown word ends the run at once, leaving the file open and
            // the log settings in place; later lines are never read.
            logger.Log("Unknown printer Command =%s", buffer);
            return 0;
        }
    }

    logger.Log("CommandFileFilter : %s", "cupsFileClose");
    cupsFileClose(commandFile);
    commandFile = nullptr;
    logger.Log("Return Value from process() =%d", lastResult);
    logger.LogReturn();
    LogSettings::deleteInstatnce();
    return 0;
}

std::string getDevURI() {
    Logger logger("CommandFileFilter", "getDevURI()");
    const char* uri = std::getenv("DEVICE_URI");
    std::string result = uri != nullptr ? uri : "";
    logger.Log("Device URI=%s", result.c_str());
    return result;
}

void commandLoopback(Logger& logger) {
    SysOSType os = SYS_OS_OTHER;
    int major = 0;
    int minor = 0;
    if (Utility::getCurrentOSDetails(os, major, minor) != 0 || os != SYS_OS_DARWIN ||
        major > kLoopbackMaxMajor) {
        return;
    }
    std::fflush(stdout);

    std::string uri = getDevURI();
    Utility::toUpper(uri);
    std::string serviceType;
    ServiceTypeResolver resolver;
    resolver.resolveServiceType(uri, serviceType);

    if (uri.find("IPP:") != std::string::npos || serviceType.find("IPP") != std::string::npos) {
        logger.Log("COMMAND_LOOPBACK FOR =%s", "IPP");
        std::fwrite(kIppLoopback, 1, sizeof kIppLoopback, stdout);
    } else {
        logger.Log("COMMAND_LOOPBACK FOR =%s", "NON-IPP");
        std::fwrite(kNonIppLoopback, 1, sizeof kNonIppLoopback, stdout);
    }
    std::fflush(stdout);
}

int process(std::string uri, RequestType type) {
    Logger logger("CommandFileFilter", "process");
    if (uri.empty()) {
        return -1;
    }

    Protocol* protocol = ProtocolFactory::CreateProtocol(type, EXEC_FILTER, uri);
    IWriter* writer = WriterFactory::createWriter("");
    if (protocol == nullptr) {
        delete writer;
        return 0;
    }

    CommandManager* manager = new CommandManager();
    Parser* parser = ParserFactory::createParser(protocol->getProtocolType());
    std::list<DevCommand*> commands = manager->getCommand(type, protocol->getProtocolType());

    // A failing command does not stop the next one; what the parser got is still reported.
    for (DevCommand* command : commands) {
        if (command != nullptr) {
            command->Execute(protocol, parser);
        }
    }

    if (writer != nullptr && writer->writeData(type, parser) == 0) {
        delete writer;
        writer = nullptr;
    }

    deleteCommands(commands);
    delete parser;
    delete manager;
    commands.clear();
    delete protocol;
    delete writer;
    return 0;
}

void deleteCommands(std::list<DevCommand*>& commands) {
    for (DevCommand* command : commands) {
        delete command;
    }
    commands.clear();
}
