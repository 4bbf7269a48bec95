// Tests of the request processor's edges and of the command loopback on older Darwin hosts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/CommandFileFilter.h"
#include "core/DevCommand.h"
#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "support/Logger.h"
#include "support/Utility.h"

namespace {
struct FakeHost {
    FakeHost(std::string sysname, std::string release) {
        Utility::setUnameFunction([=](std::string& name, std::string& rel) {
            name = sysname;
            rel = release;
            return 0;
        });
    }
    ~FakeHost() { Utility::setUnameFunction(nullptr); }
};

std::string loopbackFor(const std::string& sysname, const std::string& release,
                        const std::string& uri) {
    FakeHost host(sysname, release);
    ScopedEnv env;
    env.set("DEVICE_URI", uri);
    Logger logger("CommandFileFilterTest", "loopback");
    OutputCapture out(1);
    commandLoopback(logger);
    return out.text();
}

const std::string kIpp("\x00\x00", 2);
const std::string kNonIpp("\xA5\x00\x06\x40\x03\x04\x20\x20\x20", 9);

struct CountingCommand : DevCommand {
    explicit CountingCommand(int& deleted) : DevCommand(CMD_SUPPLIES, 0), deleted_(deleted) {}
    ~CountingCommand() override { ++deleted_; }
    int& deleted_;
};
}  // namespace

TEST(CommandLoopback, OlderDarwinGetsTwoBytesForIppAndNineOtherwise) {
    struct Case {
        std::string sysname, release, uri, expected;
    };
    const std::vector<Case> cases = {
        {"Darwin", "10.8.0", "ipp://printer.local/ipp/print", kIpp},
        {"Darwin", "9.0.0", "IpP://10.0.0.5", kIpp},
        {"Darwin", "10.8.0", "socket://10.0.0.5:9100", kNonIpp},
        {"Darwin", "10.8.0", "ipps://printer.local/", kNonIpp},  // "IPPS:" holds no "IPP:"
        {"Darwin", "10.8.0", "", kNonIpp},
        {"Darwin", "11.0.0", "ipp://printer.local/", ""},  // reported major 7
        {"Darwin", "14.0.0", "socket://10.0.0.5", ""},
        {"Linux", "2.6.32", "ipp://printer.local/", ""},
        // A DNS-SD service type naming ipp counts as ipp.
        {"Darwin", "10.8.0", "dnssd://Office._ipp._tcp.local./?uuid=1", kIpp},
        {"Darwin", "10.8.0", "dnssd://Office._pdl-datastream._tcp.local./", kNonIpp},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(loopbackFor(c.sysname, c.release, c.uri), c.expected)
            << c.sysname << " " << c.release << " " << c.uri;
    }
}

TEST(RequestProcessor, EmptyUriIsRefusedAndCommandsAreAllDeleted) {
    EXPECT_EQ(process("", REQ_SUPPLY_LEVELS), -1);
    EXPECT_EQ(process("", REQ_INSTALLABLE_OPTIONS), -1);

    int deleted = 0;
    std::list<DevCommand*> commands = {new CountingCommand(deleted), nullptr,
                                       new CountingCommand(deleted)};
    deleteCommands(commands);
    EXPECT_EQ(deleted, 2);
    EXPECT_TRUE(commands.empty());
}
