// NpaRequest: one packet that a host sent to the printer, and what it asks for.
#pragma once

#include <string>

struct NpaRequest {
    enum Kind {
        kModeCommand,    // switches the channel to packet mode; not answered
        kLoopback,       // end-of-job bytes; not answered
        kConfiguration,  // the configuration tree
        kSupplies,       // the supply tree, names in the language at byte 8
        kOptions,        // the option text (flash and the like)
        kUnknown,        // anything else; answered with the failure flag
    };

    Kind kind = kUnknown;
    std::string bytes;   // the whole packet, start byte included
    int languageId = 0;  // for kSupplies

    // Classifies a whole packet (start byte, length, flags, echo byte, command).
    static NpaRequest classify(const std::string& packet);
    // A short name for log lines.
    static const char* kindName(Kind kind);
};
