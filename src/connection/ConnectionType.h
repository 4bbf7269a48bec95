// Connection kinds and execution modes that decide which transport reaches the printer.
#pragma once

// Returned by ConnectionFactory::getConnectionType as a plain int.
enum ConnectionType {
    CONN_USB = 1,      // the device URI contains "usb:"
    CONN_NETWORK = 2,  // any other device URI, an empty one included
};

enum ExecutionType {
    EXEC_FILTER = 0,  // running as a spooler filter (the request processor's only mode)
    EXEC_DIRECT = 1,  // direct device access (any non-zero value)
};
