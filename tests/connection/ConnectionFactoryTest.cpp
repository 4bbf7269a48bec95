// Tests for the choice of transport by device URI, request, execution mode and spooler version.
#include <gtest/gtest.h>

#include <memory>

#include "connection/ConnectionFactory.h"
#include "connection/CupsBackendConnection.h"
#include "connection/CupsBackendSNMPConnection.h"
#include "connection/NetworkConnection.h"
#include "connection/USBConnection.h"
#include "helpers/TestUtil.h"

TEST(ConnectionFactory, ChoosesTransportByUriRequestModeAndSpooler) {
    struct {
        const char* release;  // of the Darwin host: "14.0.0" has spooler 2.0
        ExecutionType execution;
        const char* uri;
        RequestType request;
        std::string kind;
    } cases[] = {
        {"13.4.0", EXEC_FILTER, "usb://Maker/Model?serial=1", REQ_SUPPLY_LEVELS, "backend"},
        {"13.4.0", EXEC_DIRECT, "usb://Maker/Model?serial=1", REQ_INSTALLABLE_OPTIONS, "usb"},
        {"13.4.0", EXEC_FILTER, "ipp://usb:631/queue", REQ_INSTALLABLE_OPTIONS, "backend"},  // marker anywhere
        {"13.4.0", EXEC_DIRECT, "USB://Maker/Model", REQ_SUPPLY_LEVELS, "network"},           // case-sensitive
        {"13.4.0", EXEC_FILTER, "socket://usb/", REQ_SUPPLY_LEVELS, "network"},               // needs the colon
        {"13.4.0", EXEC_FILTER, "socket://10.0.0.5:9100/", REQ_SUPPLY_LEVELS, "network"},
        {"14.0.0", EXEC_FILTER, "socket://10.0.0.5:9100/", REQ_SUPPLY_LEVELS, "snmp"},
        {"14.0.0", EXEC_FILTER, "", REQ_DUPLEX_OPTIONS, "network"},
        {"14.0.0", EXEC_DIRECT, "socket://10.0.0.5:9100/", REQ_SUPPLY_LEVELS, "network"},
        {"14.0.0", EXEC_FILTER, "socket://10.0.0.5:9100/", REQ_INSTALLABLE_OPTIONS, "network"},
        {"14.0.0", EXEC_DIRECT, "usb://Maker/Model", REQ_SUPPLY_LEVELS, "usb"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.uri << ", Darwin " << c.release << ", " << c.execution << "/" << c.request);
        cfftest::FakeHost host("Darwin", c.release);
        std::unique_ptr<Connection> connection(ConnectionFactory::createConnection(c.execution, c.uri, c.request));
        ASSERT_NE(connection, nullptr);
        Connection* p = connection.get();
        EXPECT_EQ(dynamic_cast<CupsBackendSNMPConnection*>(p) ? "snmp"
                  : dynamic_cast<CupsBackendConnection*>(p)   ? "backend"
                  : dynamic_cast<NetworkConnection*>(p)       ? "network"
                  : dynamic_cast<USBConnection*>(p)           ? "usb"
                                                              : "other",
                  c.kind);
        EXPECT_EQ(ConnectionFactory::getConnectionType(c.uri, c.request), c.kind == "usb" || c.kind == "backend" ? CONN_USB : CONN_NETWORK);
    }
}
