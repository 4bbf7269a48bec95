// QueryTool: the direct-mode query tool: arguments, the attached-printer check and one request.
#pragma once

#include <string>

#include "core/RequestType.h"

class UsbPlatform;

// Exit statuses of the tool.
constexpr int kQueryExitSuccess = 0;
constexpr int kQueryExitNoPrinter = 1;       // no attached device matches the URI
constexpr int kQueryExitUsage = 2;           // bad arguments
constexpr int kQueryExitNoPermission = 3;    // a printer is attached but its device node is closed to us
constexpr int kQueryExitRequestFailed = 4;   // the printer was found but nothing could be reported

struct QueryOptions {
    RequestType type = REQ_INSTALLABLE_OPTIONS;
    std::string uri;
    bool timeoutGiven = false;
    double timeout = 5.0;  // seconds
    bool helpWanted = false;
};

class QueryTool {
public:
    // Fills |options| from the arguments: kQueryExitSuccess, or kQueryExitUsage with the
    // reason in |error|.
    static int parseArguments(int argc, const char* const argv[], QueryOptions& options,
                              std::string& error);
    // The usage text for |program|.
    static std::string usage(const std::string& program);

    // Checks that an attached device is the printer that |uri| names: kQueryExitSuccess,
    // kQueryExitNoPrinter or kQueryExitNoPermission, with what was found in |message|.
    static int checkPrinter(UsbPlatform& platform, const std::string& uri, std::string& message);

    // Runs the request as the filter's request processor does, but with direct device
    // access, and writes the result line to standard output: kQueryExitSuccess or
    // kQueryExitRequestFailed with the reason in |message|.
    static int runRequest(const QueryOptions& options, std::string& message);

    // The whole tool: messages go to standard error, the result line to standard output.
    // |platform| is checked for the printer; the request itself goes through the USB
    // connections' system platform.
    static int run(int argc, const char* const argv[], UsbPlatform& platform);
};
