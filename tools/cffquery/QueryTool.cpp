// QueryTool: the direct-mode query tool: arguments, the attached-printer check and one request.
#include "QueryTool.h"

#include <strings.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <vector>

#include "connection/Connection.h"
#include "connection/ConnectionType.h"
#include "connection/USBConnection.h"
#include "connection/UsbPlatform.h"
#include "core/CommandFileFilter.h"
#include "core/CommandManager.h"
#include "core/DevCommand.h"
#include "parser/Parser.h"
#include "parser/ParserFactory.h"
#include "ppd/IWriter.h"
#include "ppd/WriterFactory.h"
#include "protocol/Protocol.h"
#include "protocol/ProtocolFactory.h"

namespace {

// Longer waits would overflow the read time-out in milliseconds and help nobody.
constexpr double kMaxTimeoutSeconds = 3600.0;

bool parseTimeout(const char* text, double& seconds) {
    char* end = nullptr;
    double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(value) || value <= 0.0 ||
        value > kMaxTimeoutSeconds) {
        return false;
    }
    seconds = value;
    return true;
}

// Sends what is written to standard error to standard output until destroyed: the writer
// reports on standard error, as a filter must, but a tool's result belongs on standard output.
class StderrToStdout {
public:
    StderrToStdout() {
        std::fflush(stdout);
        std::fflush(stderr);
        std::cout.flush();
        std::cerr.flush();
        saved_ = dup(STDERR_FILENO);
        if (saved_ >= 0 && dup2(STDOUT_FILENO, STDERR_FILENO) < 0) {
            close(saved_);
            saved_ = -1;
        }
    }
    ~StderrToStdout() {
        std::fflush(stderr);
        std::cerr.flush();
        if (saved_ >= 0) {
            dup2(saved_, STDERR_FILENO);
            close(saved_);
        }
    }
    StderrToStdout(const StderrToStdout&) = delete;
    StderrToStdout& operator=(const StderrToStdout&) = delete;

private:
    int saved_ = -1;
};

}  // namespace

std::string QueryTool::usage(const std::string& program) {
    return "Usage: " + program +
           " [--timeout SECONDS] (AutoConfigure|ReportLevels) usb://Make/Model?serial=NUMBER\n"
           "\n"
           "Asks a printer attached by USB directly, without the spooler, and prints what\n"
           "the filter would report: a \"PPD: \" line of installed options for AutoConfigure,\n"
           "an \"ATTR: \" line of supply levels for ReportLevels. The line goes to standard\n"
           "output, messages to standard error.\n"
           "\n"
           "  --timeout SECONDS  read time-out of the connection (default 5)\n"
           "  --help             show this text\n"
           "\n"
           "Exit status: 0 reported, 1 no printer found, 2 bad arguments,\n"
           "3 no permission to use the printer, 4 nothing could be reported.\n";
}

int QueryTool::parseArguments(int argc, const char* const argv[], QueryOptions& options,
                              std::string& error) {
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i] ? argv[i] : "";
        if (argument == "--help" || argument == "-h") {
            options.helpWanted = true;
            return kQueryExitSuccess;
        }
        if (argument == "--timeout" || argument.rfind("--timeout=", 0) == 0) {
            std::string value;
            if (argument == "--timeout") {
                if (i + 1 >= argc || argv[i + 1] == nullptr) {
                    error = "--timeout needs a number of seconds";
                    return kQueryExitUsage;
                }
                value = argv[++i];
            } else {
                value = argument.substr(std::strlen("--timeout="));
            }
            if (!parseTimeout(value.c_str(), options.timeout)) {
                error = "bad time-out \"" + value + "\": give seconds, more than 0 and at most 3600";
                return kQueryExitUsage;
            }
            options.timeoutGiven = true;
            continue;
        }
        if (argument.size() > 1 && argument[0] == '-') {
            error = "unknown option " + argument;
            return kQueryExitUsage;
        }
        words.push_back(argument);
    }
    if (words.size() != 2) {
        error = words.size() < 2 ? "a command and a device URI are needed" : "too many arguments";
        return kQueryExitUsage;
    }
    if (strcasecmp(words[0].c_str(), "AutoConfigure") == 0) {
        options.type = REQ_INSTALLABLE_OPTIONS;
    } else if (strcasecmp(words[0].c_str(), "ReportLevels") == 0) {
        options.type = REQ_SUPPLY_LEVELS;
    } else {
        error = "unknown command \"" + words[0] + "\": use AutoConfigure or ReportLevels";
        return kQueryExitUsage;
    }
    // Only a URI of the usb scheme reaches the printer directly.
    if (words[1].rfind("usb://", 0) != 0) {
        error = "not a USB device URI: \"" + words[1] + "\"";
        return kQueryExitUsage;
    }
    options.uri = words[1];
    return kQueryExitSuccess;
}

int QueryTool::checkPrinter(UsbPlatform& platform, const std::string& uri, std::string& message) {
    USBConnection connection(uri, &platform);
    std::vector<UsbDeviceProperties> devices;
    int status = platform.listDevices(devices);
    if (status == kUsbNotAvailable) {
        std::string reason = platform.setupError();
        message = "no printer found: USB devices cannot be reached on this system" +
                  (reason.empty() ? std::string() : " (" + reason + ")");
        return kQueryExitNoPrinter;
    }
    if (status == kUsbNotPrivileged) {
        message = "permission denied: the list of USB devices cannot be read; run as root or "
                  "as a member of the group that owns the USB device nodes";
        return kQueryExitNoPermission;
    }
    if (status != kUsbSuccess) {
        message = "no printer found: the USB devices could not be listed";
        return kQueryExitNoPrinter;
    }
    for (const UsbDeviceProperties& device : devices) {
        if (connection.matchesDevice(device)) {
            message = "found \"" + device.productName + "\" at " + device.location;
            return kQueryExitSuccess;
        }
    }
    // A printer whose texts could not be read may well be the one asked for.
    for (const UsbDeviceProperties& device : devices) {
        if (device.hasPrinterInterface && device.accessStatus == kUsbNotPrivileged) {
            message = "permission denied on " + device.location +
                      " (a USB printer): run as root or as a member of the group that owns it";
            return kQueryExitNoPermission;
        }
    }
    message = "no printer found for " + uri + " (make \"" + connection.getMake() + "\", model \"" +
              connection.getModel() + "\", serial number \"" + connection.getSerialNumber() + "\")";
    return kQueryExitNoPrinter;
}

int QueryTool::runRequest(const QueryOptions& options, std::string& message) {
    Protocol* protocol = ProtocolFactory::CreateProtocol(options.type, EXEC_DIRECT, options.uri);
    IWriter* writer = WriterFactory::createWriter("");
    if (protocol == nullptr) {
        delete writer;
        message = "no device dialogue could be set up for " + options.uri;
        return kQueryExitRequestFailed;
    }
    if (options.timeoutGiven && protocol->getConnection() != nullptr) {
        protocol->getConnection()->setTimeoutVal(options.timeout);
    }
    Parser* parser = ParserFactory::createParser(protocol->getProtocolType());
    std::list<DevCommand*> commands = CommandManager().getCommand(options.type, protocol->getProtocolType());

    int answered = 0;
    bool anyCommand = false;
    for (DevCommand* command : commands) {
        if (command != nullptr) {
            anyCommand = true;
            if (command->Execute(protocol, parser) == 0) {
                ++answered;
            }
        }
    }
    bool haveWriter = writer != nullptr;
    int written = -1;
    if (haveWriter) {
        StderrToStdout redirect;
        written = writer->writeData(options.type, parser);
    }

    deleteCommands(commands);
    delete parser;
    delete protocol;
    delete writer;

    if (written == 0) {
        return kQueryExitSuccess;
    }
    if (!haveWriter) {
        message = "nothing to report: no writer could be set up";
    } else if (!anyCommand) {
        message = "nothing to report: no device commands for this request";
    } else if (answered == 0) {
        message = "nothing to report: the printer did not answer";
    } else {
        message = "nothing to report: the printer's answers held nothing to report";
    }
    return kQueryExitRequestFailed;
}

int QueryTool::run(int argc, const char* const argv[], UsbPlatform& platform) {
    std::string program = (argc > 0 && argv[0] != nullptr) ? argv[0] : "cffquery";
    size_t slash = program.rfind('/');
    if (slash != std::string::npos) {
        program = program.substr(slash + 1);
    }
    QueryOptions options;
    std::string message;
    if (parseArguments(argc, argv, options, message) != kQueryExitSuccess) {
        std::cerr << program << ": " << message << "\n" << usage(program);
        return kQueryExitUsage;
    }
    if (options.helpWanted) {
        std::cout << usage(program);
        return kQueryExitSuccess;
    }
    int result = checkPrinter(platform, options.uri, message);
    if (result != kQueryExitSuccess) {
        std::cerr << program << ": " << message << "\n";
        return result;
    }
    result = runRequest(options, message);
    if (result != kQueryExitSuccess) {
        std::cerr << program << ": " << message << "\n";
    }
    return result;
}
