// Tests for the choice of transport by device URI, request and execution mode.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "connection/ConnectionFactory.h"
#include "connection/CupsBackendConnection.h"
#include "connection/CupsBackendSNMPConnection.h"
#include "connection/NetworkConnection.h"
#include "connection/USBConnection.h"
#include "support/Utility.h"

namespace {

std::string kindOf(Connection* connection) {
    if (connection == nullptr) return "null";
    if (dynamic_cast<CupsBackendSNMPConnection*>(connection)) return "CupsBackendSNMPConnection";
    if (dynamic_cast<CupsBackendConnection*>(connection)) return "CupsBackendConnection";
    if (dynamic_cast<NetworkConnection*>(connection)) return "NetworkConnection";
    if (dynamic_cast<USBConnection*>(connection)) return "USBConnection";
    return "other";
}

struct FactoryCase {
    ExecutionType execution;
    std::string uri;
    RequestType request;
    std::string expected;
};

void expectChoices(const std::vector<FactoryCase>& cases) {
    for (const FactoryCase& c : cases) {
        std::unique_ptr<Connection> connection(
            ConnectionFactory::createConnection(c.execution, c.uri, c.request));
        EXPECT_EQ(kindOf(connection.get()), c.expected)
            << "uri '" << c.uri << "', execution " << c.execution << ", request " << c.request;
        if (connection) {
            EXPECT_DOUBLE_EQ(connection->getTimeoutVal(), 5.0);
        }
    }
}

const char* kDnssdUri = "dnssd://No%20Such%20Printer._pdl-datastream._tcp.local./?uuid=1";

}  // namespace

TEST(ConnectionFactory, KindDependsOnCaseSensitiveUsbMarkerAnywhereInUri) {
    struct {
        const char* uri;
        int kind;
    } cases[] = {
        {"usb://Maker/Model?serial=1", CONN_USB},
        {"ipp://usb:631/queue", CONN_USB},
        {"USB://Maker/Model", CONN_NETWORK},
        {"socket://10.0.0.5:9100/", CONN_NETWORK},
        {"usb", CONN_NETWORK},
        {"", CONN_NETWORK},
    };
    for (const auto& c : cases) {
        for (RequestType request : {REQ_SUPPLY_LEVELS, REQ_INSTALLABLE_OPTIONS}) {
            EXPECT_EQ(ConnectionFactory::getConnectionType(c.uri, request), c.kind) << c.uri;
        }
    }
}

TEST(ConnectionFactory, ChoosesTransportOnSpoolerBefore2_0) {
    ASSERT_FALSE(Utility::isCUPS_2_0()) << "host facts of this build report spooler 2.0";
    expectChoices({
        {EXEC_FILTER, "usb://Maker/Model?serial=1", REQ_SUPPLY_LEVELS, "CupsBackendConnection"},
        {EXEC_FILTER, "usb://Maker/Model?serial=1", REQ_INSTALLABLE_OPTIONS, "CupsBackendConnection"},
        {EXEC_DIRECT, "usb://Maker/Model?serial=1", REQ_SUPPLY_LEVELS, "USBConnection"},
        {EXEC_FILTER, "USB://Maker/Model", REQ_SUPPLY_LEVELS, "NetworkConnection"},
        {EXEC_DIRECT, "USB://Maker/Model", REQ_SUPPLY_LEVELS, "NetworkConnection"},
        {EXEC_FILTER, "socket://10.0.0.5:9100/", REQ_SUPPLY_LEVELS, "NetworkConnection"},
        {EXEC_FILTER, "ipp://10.0.0.5/ipp/print", REQ_INSTALLABLE_OPTIONS, "NetworkConnection"},
        {EXEC_FILTER, "ipp://10.0.0.5/ipp/print", REQ_DUPLEX_OPTIONS, "NetworkConnection"},
        {EXEC_FILTER, kDnssdUri, REQ_SUPPLY_LEVELS, "NetworkConnection"},
        {EXEC_FILTER, "", REQ_SUPPLY_LEVELS, "NetworkConnection"},
        {EXEC_DIRECT, "", REQ_INSTALLABLE_OPTIONS, "NetworkConnection"},
    });
}

TEST(ConnectionFactory, SupplyReportAsFilterOnSpooler2_0UsesSideChannel) {
    struct Darwin14 {
        Darwin14() {
            Utility::setUnameFunction([](std::string& sysname, std::string& release) {
                sysname = "Darwin";
                release = "14.0.0";
                return 0;
            });
            Utility::refreshCUPS_2_0();
        }
        ~Darwin14() {
            Utility::setUnameFunction({});
            Utility::refreshCUPS_2_0();
        }
    } host;
    ASSERT_TRUE(Utility::isCUPS_2_0());
    expectChoices({
        {EXEC_FILTER, "socket://10.0.0.5:9100/", REQ_SUPPLY_LEVELS, "CupsBackendSNMPConnection"},
        {EXEC_FILTER, kDnssdUri, REQ_SUPPLY_LEVELS, "CupsBackendSNMPConnection"},
        {EXEC_FILTER, "", REQ_SUPPLY_LEVELS, "CupsBackendSNMPConnection"},
        {EXEC_DIRECT, "socket://10.0.0.5:9100/", REQ_SUPPLY_LEVELS, "NetworkConnection"},
        {EXEC_FILTER, "socket://10.0.0.5:9100/", REQ_INSTALLABLE_OPTIONS, "NetworkConnection"},
        {EXEC_FILTER, "usb://Maker/Model", REQ_SUPPLY_LEVELS, "CupsBackendConnection"},
        {EXEC_DIRECT, "usb://Maker/Model", REQ_SUPPLY_LEVELS, "USBConnection"},
    });
}
