// Tests of the request processor's edges and of the command loopback on older Darwin hosts.
#include <gtest/gtest.h>

#include "core/CommandFileFilter.h"
#include "core/DevCommand.h"
#include "helpers/OutputCapture.h"
#include "helpers/ScopedEnv.h"
#include "helpers/TestUtil.h"
#include "support/Logger.h"

// Other hosts and plain queues show in the whole-program runs; here the ways a URI may name IPP.
TEST(CommandLoopback, OlderDarwinGetsTwoBytesForIppAndNineOtherwise) {
    const std::string ipp("\x00\x00", 2), other("\xA5\x00\x06\x40\x03\x04\x20\x20\x20", 9);
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"9.0.0", "IpP://10.0.0.5", ipp},
        {"10.8.0", "ipps://printer.local/", other},  // "IPPS:" holds no "IPP:"
        {"10.8.0", "dnssd://Office._ipp._tcp.local./?uuid=1", ipp},  // a service type naming ipp
        {"10.8.0", "dnssd://Office._pdl-datastream._tcp.local./", other},
    };
    for (const auto& [release, uri, expected] : cases) {
        SCOPED_TRACE(std::string(release) + " " + uri);
        cfftest::FakeHost host("Darwin", release);
        ScopedEnv env;
        env.set("DEVICE_URI", uri);
        Logger logger("CommandFileFilterTest", "loopback");
        OutputCapture out(1);
        commandLoopback(logger);
        EXPECT_EQ(out.text(), expected);
    }
}

TEST(RequestProcessor, EmptyUriIsRefusedAndCommandsAreAllDeleted) {
    EXPECT_EQ(process("", REQ_SUPPLY_LEVELS), -1);
    EXPECT_EQ(process("", REQ_INSTALLABLE_OPTIONS), -1);
    struct CountingCommand : DevCommand {
        explicit CountingCommand(int& deleted) : DevCommand(CMD_SUPPLIES, 0), deleted_(deleted) {}
        ~CountingCommand() override { ++deleted_; }
        int& deleted_;
    };
    int deleted = 0;
    std::list<DevCommand*> commands = {new CountingCommand(deleted), nullptr, new CountingCommand(deleted)};
    deleteCommands(commands);
    EXPECT_EQ(deleted, 2);
    EXPECT_TRUE(commands.empty());
}
