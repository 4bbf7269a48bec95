// Tests for the spooler backend transports against real libcups peers: requests on standard
// output with answers from the back-channel (fd 3), and SNMP walks through the side channel (fd 4).
#include <gtest/gtest.h>

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <unistd.h>

#include <optional>

#include "connection/CupsBackendConnection.h"
#include "connection/CupsBackendSNMPConnection.h"
#include "helpers/ScriptedBackChannel.h"
#include "helpers/ScriptedSideChannel.h"
#include "helpers/TestUtil.h"

using cfftest::secondsSince;
using cfftest::text;
using cfftest::now;

TEST(CupsBackendConnection, FailedWriteIsSettledByDrainOrFails) {
    struct {
        const char* what;
        bool readerGone, sideChannel;  // reader gone: EPIPE, nothing to drain
        int drainStatus, expected;
        size_t drains;
    } cases[] = {
        {"short write, drained", false, true, CUPS_SC_STATUS_OK, 0, 1},
        {"short write, drain failed", false, true, CUPS_SC_STATUS_IO_ERROR, -1, 1},
        {"short write, no side channel", false, false, CUPS_SC_STATUS_OK, -1, 0},
        {"reader gone", true, true, CUPS_SC_STATUS_OK, -1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        int readEnd = cfftest::moveAboveTen(ends[0]), writeEnd = cfftest::moveAboveTen(ends[1]);
        fcntl(writeEnd, F_SETFL, O_NONBLOCK);
        while (!c.readerGone && write(writeEnd, std::string(4096, 'f').data(), 4096) > 0) {
        }
        if (c.readerGone) close(readEnd);
        FILE* output = fdopen(writeEnd, "w");
        cfftest::ScriptedSideChannel backend({{}, {{CUPS_SC_CMD_DRAIN_OUTPUT, c.drainStatus}}});
        ASSERT_TRUE(backend.ok());
        {
            cfftest::FdSlot sideChannel(4);
            if (!c.sideChannel) close(4);
            CupsBackendConnection::setOutputStream(output);
            CupsBackendConnection connection;
            connection.setTimeoutVal(1.0);
            Data request(std::string("request"));
            EXPECT_EQ(connection.doWrite(&request), c.expected);
            EXPECT_EQ(text(request), "request");
            EXPECT_EQ(connection.doWrite(nullptr), -1);
            CupsBackendConnection::setOutputStream(nullptr);
        }
        auto requests = backend.stop();
        ASSERT_EQ(requests.size(), c.drains);
        for (const auto& request : requests) EXPECT_EQ(request.command, CUPS_SC_CMD_DRAIN_OUTPUT);
        std::fclose(output);
        if (!c.readerGone) close(readEnd);
    }
}

TEST(CupsBackendConnection, ReadsWhatArrivesWithinTwoAttemptsAtMost512BytesAtATime) {
    std::string big(600, 'b');
    big[511] = 'X';
    for (bool nonBlocking : {true, false}) {
        SCOPED_TRACE(nonBlocking ? "non-blocking" : "blocking");
        cfftest::ScriptedBackChannel backend({{std::string("\x01\x00", 2), 250}, {big, 50}}, nonBlocking);
        ASSERT_TRUE(backend.ok());
        CupsBackendConnection connection;
        connection.setTimeoutVal(0.15);  // the first attempt misses the answer, the second catches it
        Data answer;
        ASSERT_EQ(connection.doRead(answer), 0);
        EXPECT_EQ(text(answer), std::string("\x01\x00", 2));
        EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.2);
        ASSERT_EQ(connection.doRead(answer), 0);
        EXPECT_EQ(text(answer), big.substr(0, 512));
        ASSERT_EQ(connection.doRead(answer), 0);
        EXPECT_EQ(text(answer), big.substr(512));
        auto start = now();  // nothing more: two attempts of 0.2 s, the answer left as it was
        EXPECT_EQ(connection.doRead(answer), -1);
        EXPECT_GE(secondsSince(start), 0.35);
        EXPECT_LT(secondsSince(start), 1.5);
        EXPECT_EQ(text(answer), big.substr(512));
    }
}

TEST(CupsBackendConnection, ReadFailsPromptlyWithoutUsableBackChannel) {
    struct {
        const char* what;
        bool nonBlocking, closeWhenDone, noFd3;  // no fd 3: run by hand outside the spooler
    } cases[] = {
        {"silent", true, false, false},
        {"closed by the backend", true, true, false},
        {"blocking pipe", false, false, false},
        {"no fd 3", true, false, true},
    };
    alarm(20);  // should a read hang, the alarm ends the program loudly
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        cfftest::FdSlot slot(3);
        std::optional<cfftest::ScriptedBackChannel> backend;
        if (c.noFd3) close(3);
        else backend.emplace(std::vector<cfftest::BackChannelChunk>{}, c.nonBlocking, c.closeWhenDone);
        CupsBackendConnection connection;
        connection.setTimeoutVal(c.noFd3 ? 5.0 : 0.1);
        Data answer;
        auto start = now();
        EXPECT_EQ(connection.doRead(answer), -1);
        EXPECT_LT(secondsSince(start), 1.0);
        EXPECT_EQ(answer.size(), 0);
        EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), c.noFd3 ? 5.0 : 0.1);
    }
    alarm(0);
}

// Successful walks run in the whole-program tests against scripted, simulated and real backends.
TEST(CupsBackendSNMPConnection, WalkThatFailsGivesMinusOne) {
    CupsBackendSNMPConnection connection;
    connection.setTimeoutVal(0.3);
    Data request{std::string("1.3.6.1.2.1.43.11.1.1.9")}, empty, answer;
    struct {
        int status, delayMs;
    } backends[] = {{CUPS_SC_STATUS_NOT_IMPLEMENTED, 0}, {CUPS_SC_STATUS_OK, 800}};
    for (const auto& b : backends) {
        cfftest::ScriptedSideChannel backend({{{"1.3.6.1.2.1.43.11.1.1.9.1.1", "100"}}, {{CUPS_SC_CMD_SNMP_GET_NEXT, b.status}}, b.delayMs});
        ASSERT_TRUE(backend.ok());
        auto start = now();
        EXPECT_EQ(connection.doWrite(&request), -1) << b.status << " after " << b.delayMs << " ms";
        EXPECT_LT(secondsSince(start), 0.75);
    }
    cfftest::FdSlot sideChannel(4);
    close(4);
    EXPECT_EQ(connection.doWrite(&request), -1);
    EXPECT_EQ(connection.doWrite(&empty), -1);
    EXPECT_EQ(connection.doWrite(nullptr), -1);
    EXPECT_EQ(connection.doRead(answer), -1);
}

TEST(CupsBackendSNMPConnection, KeepsTheGivenLengthDropsEmptyPartsAndBoundsTheText) {
    CupsBackendSNMPConnection connection;
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.1", "12345", 3, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.2", "a\0b", 3, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.3", "", 0, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.4", nullptr, 5, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.5", "x", -1, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB(nullptr, "x", 1, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.6", "x", 1, nullptr);
    Data answer;
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), std::string("1.2.1=123\n1.2.2=a\0b\n", 20));
    EXPECT_EQ(connection.doRead(answer), -1);  // emptied by the read

    std::string value(60000, 'v');
    size_t stored = 0;
    for (int i = 0; i < 40; ++i) stored += connection.putSnmpResponse("1.2." + std::to_string(i), value);
    EXPECT_GT(stored, 0u);
    EXPECT_LT(stored, 40u);
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_LE(static_cast<size_t>(answer.size()), CupsBackendSNMPConnection::kMaxCollectedBytes + stored);
    EXPECT_TRUE(connection.putSnmpResponse("1.3", value));  // the bound applies between reads
}
