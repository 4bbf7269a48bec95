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

namespace {

std::string text(const Data& data) {
    return data.get() ? std::string(reinterpret_cast<const char*>(data.get()), data.size()) : "";
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A pipe whose ends stay clear of fds 3 and 4, where the channels are placed.
void makePipe(int ends[2]) {
    ASSERT_EQ(pipe(ends), 0);
    ends[0] = cfftest::moveAboveTen(ends[0]);
    ends[1] = cfftest::moveAboveTen(ends[1]);
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
        EXPECT_EQ(connection.doOpen(), 0);
        Data request(std::string("\x00\x01request", 9));
        EXPECT_EQ(connection.doWrite(&request), 0);
        EXPECT_EQ(connection.doClose(), 0);
    }
    std::rewind(output);
    char written[32] = {};
    EXPECT_EQ(std::fread(written, 1, sizeof(written), output), 9u);
    EXPECT_EQ(std::string(written, 9), std::string("\x00\x01request", 9));
    std::fclose(output);
    EXPECT_TRUE(backend.stop().empty());
}

TEST(CupsBackendConnection, ShortWriteIsSettledByDrainStatus) {
    struct {
        int drainStatus;
        int expected;
    } cases[] = {{CUPS_SC_STATUS_OK, 0}, {CUPS_SC_STATUS_IO_ERROR, -1}};
    for (const auto& c : cases) {
        // A full non-blocking pipe makes the write come up short.
        int ends[2];
        makePipe(ends);
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        std::string filler(4096, 'f');
        while (write(ends[1], filler.data(), filler.size()) > 0) {
        }
        FILE* output = fdopen(ends[1], "w");
        ASSERT_NE(output, nullptr);
        cfftest::ScriptedSideChannel backend({{}, {{CUPS_SC_CMD_DRAIN_OUTPUT, c.drainStatus}}, 0});
        ASSERT_TRUE(backend.ok());
        {
            OutputTo seam(output);
            CupsBackendConnection connection;
            connection.setTimeoutVal(1.0);
            Data request(std::string("request"));
            EXPECT_EQ(connection.doWrite(&request), c.expected) << "drain status " << c.drainStatus;
            EXPECT_EQ(text(request), "request");
        }
        auto requests = backend.stop();
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].command, CUPS_SC_CMD_DRAIN_OUTPUT);
        std::fclose(output);
        close(ends[0]);
    }
}

TEST(CupsBackendConnection, WriteFailsWhenReaderIsGoneOrNoSideChannel) {
    int ends[2];
    makePipe(ends);
    close(ends[0]);
    FILE* broken = fdopen(ends[1], "w");
    ASSERT_NE(broken, nullptr);
    cfftest::ScriptedSideChannel backend({});
    ASSERT_TRUE(backend.ok());
    {
        OutputTo seam(broken);
        CupsBackendConnection connection;
        Data request(std::string("request"));
        EXPECT_EQ(connection.doWrite(&request), -1);
        EXPECT_EQ(connection.doWrite(nullptr), -1);
    }
    EXPECT_TRUE(backend.stop().empty());
    std::fclose(broken);

    // A short write with fd 4 closed cannot be drained.
    makePipe(ends);
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    std::string filler(4096, 'f');
    while (write(ends[1], filler.data(), filler.size()) > 0) {
    }
    FILE* full = fdopen(ends[1], "w");
    cfftest::FdSlot sideChannel(4);
    close(4);
    {
        OutputTo seam(full);
        CupsBackendConnection connection;
        Data request(std::string("request"));
        EXPECT_EQ(connection.doWrite(&request), -1);
    }
    std::fclose(full);
    close(ends[0]);
}

TEST(CupsBackendConnection, ReadsAnswerThenWaitsShortlyForMore) {
    cfftest::ScriptedBackChannel backend({{std::string("\x01\x02\x03\x00\x05", 5), 0}});
    ASSERT_TRUE(backend.ok());
    CupsBackendConnection connection;
    Data answer;
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), std::string("\x01\x02\x03\x00\x05", 5));
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.2);

    // No more data: two attempts of 0.2 seconds.
    Data none(std::string("kept"));
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(connection.doRead(none), -1);
    double waited = secondsSince(start);
    EXPECT_GE(waited, 0.35);
    EXPECT_LT(waited, 1.5);
    EXPECT_EQ(text(none), "kept");
    EXPECT_EQ(backend.stop(), 1);
}

TEST(CupsBackendConnection, SecondAttemptCatchesLateAnswer) {
    cfftest::ScriptedBackChannel backend({{"late", 250}});
    ASSERT_TRUE(backend.ok());
    CupsBackendConnection connection;
    connection.setTimeoutVal(0.15);
    Data answer;
    auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_GE(secondsSince(start), 0.15);
    EXPECT_EQ(text(answer), "late");
    EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.2);
}

TEST(CupsBackendConnection, AnswerLongerThanOneReadComesInPieces) {
    std::string big(600, 'b');
    big[511] = 'X';
    big[512] = 'Y';
    cfftest::ScriptedBackChannel backend({{big, 0}});
    ASSERT_TRUE(backend.ok());
    CupsBackendConnection connection;
    Data first;
    Data second;
    ASSERT_EQ(connection.doRead(first), 0);
    ASSERT_EQ(connection.doRead(second), 0);
    EXPECT_EQ(text(first), big.substr(0, 512));
    EXPECT_EQ(text(second), big.substr(512));
}

TEST(CupsBackendConnection, ReadFailsPromptlyWithoutUsableBackChannel) {
    CupsBackendConnection connection;
    connection.setTimeoutVal(0.1);
    Data answer;

    // Nothing arrives: both attempts use the same time-out, which stays as it was.
    {
        cfftest::ScriptedBackChannel backend({});
        ASSERT_TRUE(backend.ok());
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(connection.doRead(answer), -1);
        EXPECT_GE(secondsSince(start), 0.18);
        EXPECT_DOUBLE_EQ(connection.getTimeoutVal(), 0.1);
    }
    // The backend closed its end.
    {
        cfftest::ScriptedBackChannel::Options options;
        options.closeWhenDone = true;
        cfftest::ScriptedBackChannel backend({}, options);
        ASSERT_TRUE(backend.ok());
        EXPECT_EQ(connection.doRead(answer), -1);
        EXPECT_EQ(backend.stop(), 0);
    }
    // A blocking pipe must not hang the read.
    {
        cfftest::ScriptedBackChannel::Options options;
        options.nonBlocking = false;
        cfftest::ScriptedBackChannel backend({}, options);
        ASSERT_TRUE(backend.ok());
        // Should the read hang after all, the alarm ends the test program loudly.
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

TEST(CupsBackendConnection, BlockingPipeStillDeliversAnswer) {
    cfftest::ScriptedBackChannel::Options options;
    options.nonBlocking = false;
    cfftest::ScriptedBackChannel backend({{"blocking", 50}}, options);
    ASSERT_TRUE(backend.ok());
    CupsBackendConnection connection;
    connection.setTimeoutVal(1.0);
    Data answer;
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), "blocking");
}
