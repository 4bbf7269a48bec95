// Tests of the command loopback that older Darwin hosts get before the job's requests.
#include <gtest/gtest.h>

#include "core/CommandFileFilter.h"
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
