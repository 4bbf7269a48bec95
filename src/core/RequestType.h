// RequestType: what a command word asks of the printer.
#pragma once

enum RequestType {
    REQ_SUPPLY_LEVELS = 0,        // "ReportLevels"
    REQ_INSTALLABLE_OPTIONS = 1,  // "AutoConfigure"
    REQ_DUPLEX_OPTIONS = 2,       // produced by no command word
};
