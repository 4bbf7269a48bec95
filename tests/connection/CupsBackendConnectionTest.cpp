// Tests for requests on standard output and answers from the back-channel on fd 3.
#include <gtest/gtest.h>

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "connection/CupsBackendConnection.h"
#include "helpers/FdSlot.h"
#include "helpers/ScriptedBackChannel.h"
#include "helpers/ScriptedSideChannel.h"
#include "helpers/TestUtil.h"

namespace {

using cfftest::secondsSince;
using cfftest::text;

// A stream on a pipe, kept clear of fds 3 and 4. |full|: the pipe is non-blocking and
// already full, so a write comes up short; otherwise its read end is closed (EPIPE).
FILE* pipeStream(bool full, int& readEnd) {
    int ends[2];
    if (pipe(ends) != 0) return nullptr;
    readEnd = cfftest::moveAboveTen(ends[0]);
    int writeEnd = cfftest::moveAboveTen(ends[1]);
    if (full) {
        fcntl(writeEnd, F_SETFL, O_NONBLOCK);
        std::string filler(4096, 'f');
        while (write(writeEnd, filler.data(), filler.size()) > 0) {
        }
    } else {
        close(readEnd);
        readEnd = -1;
    }
    return fdopen(writeEnd, "w");
}

// Output stream seam set for one test and restored to standard output afterwards.
class OutputTo {
public:
    explicit OutputTo(FILE* stream) { CupsBackendConnection::setOutputStream(stream); }
    ~OutputTo() { CupsBackendConnection::setOutputStream(nullptr); }
};

}  // namespace

TEST(CupsBackendConnection, CompleteWriteNeverTouchesSideChannel) {
    cfftest::ScriptedSideChannel backend({});
    ASSERT_TRUE(backend.ok());
    FILE* output = std::tmpfile();
    ASSERT_NE(output, nullptr);
    {
        OutputTo seam(output);
        CupsBackendConnection connection;
        Data request(std::string("\x00\x01request", 9));
        EXPECT_EQ(connection.doWrite(&request), 0);
        EXPECT_EQ(connection.doWrite(nullptr), -1);
    }
    std::rewind(output);
    char written[32] = {};
    EXPECT_EQ(std::string(written, std::fread(written, 1, sizeof(written), output)),
              std::string("\x00\x01request", 9));
    std::fclose(output);
    EXPECT_TRUE(backend.stop().empty());
}

TEST(CupsBackendConnection, FailedWriteIsSettledByDrainOrFails) {
    struct {
        const char* what;
        bool readerGone;     // EPIPE: nothing to drain
        bool sideChannel;    // fd 4 open
        int drainStatus, expected;
        size_t drains;
    } cases[] = {
        {"short write, drained", false, true, CUPS_SC_STATUS_OK, 0, 1},
        {"short write, drain failed", false, true, CUPS_SC_STATUS_IO_ERROR, -1, 1},
        {"short write, no side channel", false, false, CUPS_SC_STATUS_OK, -1, 0},
        {"reader gone", true, true, CUPS_SC_STATUS_OK, -1, 0},
    };
    for (const auto& c : cases) {
        int readEnd = -1;
        FILE* output = pipeStream(!c.readerGone, readEnd);
        ASSERT_NE(output, nullptr);
        cfftest::ScriptedSideChannel backend({{}, {{CUPS_SC_CMD_DRAIN_OUTPUT, c.drainStatus}}, 0});
        ASSERT_TRUE(backend.ok());
        {
            cfftest::FdSlot sideChannel(4);
            if (!c.sideChannel) close(4);
            OutputTo seam(output);
            CupsBackendConnection connection;
            connection.setTimeoutVal(1.0);
            Data request(std::string("request"));
            EXPECT_EQ(connection.doWrite(&request), c.expected) << c.what;
            EXPECT_EQ(text(request), "request") << c.what;
        }
        auto requests = backend.stop();
        EXPECT_EQ(requests.size(), c.drains) << c.what;
        for (const auto& request : requests) {
            EXPECT_EQ(request.command, CUPS_SC_CMD_DRAIN_OUTPUT);
        }
        std::fclose(output);
        if (readEnd >= 0) close(readEnd);
    }
}

TEST(CupsBackendConnection, ReadsAnswerThenWaitsShortlyForMore) {
    std::string big(600, 'b');
    big[511] = 'X';
    cfftest::ScriptedBackChannel backend({{std::string("\x01\x02\x03\x00\x05", 5), 0}, {big, 50}});
    ASSERT_TRUE(backend.ok());
    CupsBackendConnection connection;
    Data answer;
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), std::string("\x01\x02\x03\x00\x05", 5));
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.2);

    // At most 512 bytes per read.
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), big.substr(0, 512));
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), big.substr(512));

    // No more data: two attempts of 0.2 seconds, the answer left as it was.
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(connection.doRead(answer), -1);
    double waited = secondsSince(start);
    EXPECT_GE(waited, 0.35);
    EXPECT_LT(waited, 1.5);
    EXPECT_EQ(text(answer), big.substr(512));
    EXPECT_EQ(backend.stop(), 2);
}

TEST(CupsBackendConnection, SecondAttemptCatchesLateAnswer) {
    for (bool nonBlocking : {true, false}) {
        cfftest::ScriptedBackChannel::Options options;
        options.nonBlocking = nonBlocking;
        cfftest::ScriptedBackChannel backend({{"late", 250}}, options);
        ASSERT_TRUE(backend.ok());
        CupsBackendConnection connection;
        connection.setTimeoutVal(0.15);
        Data answer;
        auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(connection.doRead(answer), 0) << "non-blocking " << nonBlocking;
        EXPECT_GE(secondsSince(start), 0.15);
        EXPECT_EQ(text(answer), "late");
    }
}

TEST(CupsBackendConnection, ReadFailsPromptlyWithoutUsableBackChannel) {
    CupsBackendConnection connection;
    connection.setTimeoutVal(0.1);
    Data answer;

    // Nothing arrives: the time-out stays as it was.
    {
        cfftest::ScriptedBackChannel backend({});
        ASSERT_TRUE(backend.ok());
        EXPECT_EQ(connection.doRead(answer), -1);
        EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.1);
    }
    // The backend closed its end.
    {
        cfftest::ScriptedBackChannel::Options options;
        options.closeWhenDone = true;
        cfftest::ScriptedBackChannel backend({}, options);
        ASSERT_TRUE(backend.ok());
        EXPECT_EQ(connection.doRead(answer), -1);
    }
    // A blocking pipe must not hang the read; should it, the alarm ends the program loudly.
    {
        cfftest::ScriptedBackChannel::Options options;
        options.nonBlocking = false;
        cfftest::ScriptedBackChannel backend({}, options);
        ASSERT_TRUE(backend.ok());
        alarm(10);
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(connection.doRead(answer), -1);
        EXPECT_LT(secondsSince(start), 1.0);
        alarm(0);
    }
    // Run by hand outside the spooler: no fd 3 at all.
    {
        cfftest::FdSlot backChannel(3);
        close(3);
        connection.setTimeoutVal(5.0);
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(connection.doRead(answer), -1);
        EXPECT_LT(secondsSince(start), 0.5);
    }
    EXPECT_EQ(answer.size(), 0);
}
