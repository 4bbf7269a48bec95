// Tests for splitting DNS-SD service instance names and for resolution without a daemon.
#include <gtest/gtest.h>

#include <string>

#include "connection/DNSServiceResolver.h"
#include "connection/NetworkConnection.h"
#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"
#include "support/TempLog.h"

TEST(URLResolver, SplitsInstanceIntoNameTypeAndDomain) {
    struct {
        std::string instance, name;
        int nameResult;
        std::string type;
        int typeResult;
        std::string domain;
        int domainResult;
    } cases[] = {
        {"Office Printer._pdl-datastream._tcp.local.", "Office Printer", 0,
         "_pdl-datastream._tcp", 0, "local.", 0},
        {"My Printer._printer._tcp.local.", "My Printer", 0, "_printer._tcp", 0, "local.", 0},
        {"A\\.B._ipp._tcp.local.", "A\\.B", 0, "_ipp._tcp", 0, "local.", 0},
        {"Laser_5._ipp._tcp.example.com.", "Laser_5", 0, "_ipp._tcp", 0, "com.", 0},
        {"Printer._ipp._tcp", "Printer", 0, "_ipp._tcp", -1, "_tcp", 0},
        {"Printer._ipp", "Printer", 0, "_ipp", -1, "_ipp", 0},
        {"Printer", "Printer", -1, "", -1, "", -1},
        {"", "", -1, "", -1, "", -1},
    };
    DNSServiceResolver resolver;
    for (const auto& c : cases) {
        std::string name = "stale";
        std::string type = "stale";
        std::string domain = "stale";
        EXPECT_EQ(resolver.resolveServiceName(c.instance, name), c.nameResult) << c.instance;
        EXPECT_EQ(name, c.name) << c.instance;
        EXPECT_EQ(resolver.resolveServiceType(c.instance, type), c.typeResult) << c.instance;
        EXPECT_EQ(type, c.type) << c.instance;
        EXPECT_EQ(resolver.resolveServiceDomainName(c.instance, domain), c.domainResult)
            << c.instance;
        EXPECT_EQ(domain, c.domain) << c.instance;
    }
}

// Each splitter logs its result line whether or not it found its part.
TEST(URLResolver, LogsEachPartAlsoWhenItIsMissing) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    DNSServiceResolver resolver;
    std::string part;
    resolver.resolveServiceName("Printer", part);
    resolver.resolveServiceType("Printer", part);
    resolver.resolveServiceDomainName("Printer", part);
    const std::string log = temp.log();
    for (const char* line : {"Service Name =Printer\n", "Service Type =\n", "Domain Name =\n"}) {
        EXPECT_NE(log.find(line), std::string::npos) << line << " missing in\n" << log;
    }
}

TEST(URLResolver, ReplacesEveryEncodedSpace) {
    DNSServiceResolver resolver;
    EXPECT_EQ(resolver.replaceCharacters("My%20Printer._printer._tcp.local."),
              "My Printer._printer._tcp.local.");
    EXPECT_EQ(resolver.replaceCharacters("%20A%20%20B%20"), " A  B ");
    EXPECT_EQ(resolver.replaceCharacters("%2%200%20"), "%2 0 ");
    EXPECT_EQ(resolver.replaceCharacters("plain"), "plain");
}

// No DNS-SD daemon runs outside the private namespace of DnsSdNamespaceTest.
TEST(DNSServiceResolver, FailsQuietlyWithinItsBoundWithoutDaemon) {
    DNSServiceResolver resolver;
    resolver.setTimeoutVal(2.0);
    EXPECT_EQ(resolver.resolveService(""), -1);
    EXPECT_EQ(resolver.resolveService("Printer"), -1);

    // Whatever the DNS-SD library has to say must not reach the spooler's status pipe.
    OutputCapture err(2);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(resolver.resolveService("My%20Printer._pdl-datastream._tcp.local."), -1);
    EXPECT_LT(cfftest::secondsSince(start), 2.5);
    EXPECT_EQ(err.text(), "") << "the DNS-SD library wrote to standard error";
    EXPECT_EQ(resolver.getHostName(), "");
}

TEST(DNSServiceResolver, UnresolvedServiceKeepsHostOfConnection) {
    DNSServiceResolver resolver;
    resolver.setTimeoutVal(2.0);
    NetworkConnection connection("dnssd://My%20Printer._pdl-datastream._tcp.local./?uuid=1",
                                 {{"dnssd", &resolver}});
    EXPECT_EQ(connection.getHostAddress(), "My%20Printer._pdl-datastream._tcp.local.");
}
