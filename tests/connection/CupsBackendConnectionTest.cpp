// Tests for the spooler backend transports against real libcups peers on fds 3 and 4.
#include <gtest/gtest.h>

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <map>

#include "connection/CupsBackendConnection.h"
#include "connection/CupsBackendSNMPConnection.h"
#include "helpers/FdSlot.h"
#include "helpers/PeerProcess.h"
#include "helpers/TestUtil.h"

using namespace cfftest;

namespace {

// A backend in a child, next to this process as the filter: one end of a pipe (fd 3, the
// back-channel) or socket pair (fd 4, the side channel) is on |fd| in both, non-blocking as
// cupsd makes them unless told otherwise. The child runs |body| until our end closes.
struct BackendPeer {
    FdSlot slot;
    PeerProcess peer;
    bool ok = false;

    BackendPeer(int fd, std::function<int()> body, bool nonBlocking = true) : slot(fd) {
        int ends[2];
        if ((fd == 3 ? pipe(ends) : socketpair(AF_LOCAL, SOCK_STREAM, 0, ends)) != 0) return;
        for (int& end : ends) {
            end = moveAboveTen(end);
            fcntl(end, F_SETFL, nonBlocking ? O_NONBLOCK : 0);
        }
        ok = peer.start({{ends[1], fd}}, std::move(body));
        close(ends[1]);
        ok = ok && slot.place(ends[0]);
    }
    ~BackendPeer() { stop(); }
    int stop() { return slot.restore(), peer.wait(); }  // closes our end; gives the peer's exit code
};

// Writes each chunk (bytes, after a pause in ms) into the back-channel with libcups; then keeps
// its end open unless |closeWhenDone|.
std::function<int()> writes(std::vector<std::pair<std::string, int>> chunks, bool closeWhenDone = false) {
    return [=] {
        for (const auto& [bytes, delayMs] : chunks) {
            usleep(delayMs * 1000);
            cupsBackChannelWrite(bytes.data(), bytes.size(), 5.0);
        }
        pollfd readerGone{3, 0, 0};  // POLLERR once the reading end is closed
        if (!closeWhenDone) poll(&readerGone, 1, 30000);
        return 0;
    };
}

// Answers each side-channel request after |delayMs| with no data and statuses[command], else
// OK; exits with the number of requests.
std::function<int()> answers(std::map<int, int> statuses, int delayMs = 0) {
    return [=] {
        signal(SIGPIPE, SIG_IGN);  // a late answer may find the test gone
        cups_sc_command_t command;
        cups_sc_status_t status;
        char data[65540];
        int requests = 0;
        for (int length = sizeof(data); cupsSideChannelRead(&command, &status, data, &length, 30.0) == 0;
             length = sizeof(data), ++requests) {
            usleep(delayMs * 1000);
            auto given = statuses.find(command);
            status = static_cast<cups_sc_status_t>(given != statuses.end() ? given->second : CUPS_SC_STATUS_OK);
            cupsSideChannelWrite(command, status, "", 0, 1.0);
        }
        return requests;
    };
}

TEST(CupsBackendConnection, FailedWriteIsSettledByDrainOrFails) {
    struct {
        const char* what;
        bool readerGone, sideChannel;  // reader gone: EPIPE, nothing to drain
        int drainStatus, expected, drains;
    } cases[] = {
        {"short write, drained", false, true, CUPS_SC_STATUS_OK, 0, 1},
        {"short write, drain failed", false, true, CUPS_SC_STATUS_IO_ERROR, -1, 1},
        {"short write, no side channel", false, false, CUPS_SC_STATUS_OK, -1, 0},
        {"reader gone", true, true, CUPS_SC_STATUS_OK, -1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
        int readEnd = moveAboveTen(ends[0]), writeEnd = moveAboveTen(ends[1]);
        if (c.readerGone) close(readEnd);
        while (!c.readerGone && write(writeEnd, std::string(4096, 'f').data(), 4096) > 0) continue;  // fill the pipe
        FILE* output = fdopen(writeEnd, "w");
        BackendPeer backend(4, answers({{CUPS_SC_CMD_DRAIN_OUTPUT, c.drainStatus}}));
        ASSERT_TRUE(backend.ok);
        {
            FdSlot sideChannel(4);
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
        EXPECT_EQ(backend.stop(), c.drains);
        std::fclose(output);
        if (!c.readerGone) close(readEnd);
    }
}

TEST(CupsBackendConnection, ReadsWhatArrivesWithinTwoAttemptsAtMost512BytesAtATime) {
    std::string big(600, 'b');
    big[511] = 'X';
    for (bool nonBlocking : {true, false}) {
        SCOPED_TRACE(nonBlocking ? "non-blocking" : "blocking");
        BackendPeer backend(3, writes({{std::string("\x01\x00", 2), 250}, {big, 50}}), nonBlocking);
        ASSERT_TRUE(backend.ok);
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

// Run by hand outside the spooler, without fd 3, a read fails at once instead of waiting; a
// silent backend is the last read of the test above.
TEST(CupsBackendConnection, ReadFailsPromptlyWithoutABackChannel) {
    FdSlot backChannel(3);
    close(3);
    CupsBackendConnection connection;
    connection.setTimeoutVal(5.0);
    Data answer;
    auto start = now();
    EXPECT_EQ(connection.doRead(answer), -1);
    EXPECT_LT(secondsSince(start), 1.0);
    EXPECT_EQ(answer.size(), 0);
}

// Successful walks show in the recorded outputs of the side-channel runs against the simulator.
TEST(CupsBackendSNMPConnection, WalkThatFailsGivesMinusOne) {
    CupsBackendSNMPConnection connection;
    connection.setTimeoutVal(0.3);
    Data request{std::string("1.3.6.1.2.1.43.11.1.1.9")}, empty, answer;
    for (auto [status, delayMs] : {std::pair{CUPS_SC_STATUS_NOT_IMPLEMENTED, 0}, std::pair{CUPS_SC_STATUS_OK, 800}}) {
        BackendPeer backend(4, answers({{CUPS_SC_CMD_SNMP_GET_NEXT, status}}, delayMs));
        ASSERT_TRUE(backend.ok);
        auto start = now();
        EXPECT_EQ(connection.doWrite(&request), -1) << status << " after " << delayMs << " ms";
        EXPECT_LT(secondsSince(start), 0.75);
        EXPECT_EQ(backend.stop(), 1);
    }
    FdSlot sideChannel(4);
    close(4);
    EXPECT_EQ(connection.doWrite(&request), -1);
    EXPECT_EQ(connection.doWrite(&empty), -1);
    EXPECT_EQ(connection.doWrite(nullptr), -1);
    EXPECT_EQ(connection.doRead(answer), -1);
}

TEST(CupsBackendSNMPConnection, KeepsTheGivenLengthDropsEmptyPartsAndBoundsTheText) {
    CupsBackendSNMPConnection connection;
    for (auto [oid, data, length] : std::vector<std::tuple<const char*, const char*, int>>{
             {"1.2.1", "12345", 3}, {"1.2.2", "a\0b", 3}, {"1.2.3", "", 0}, {"1.2.4", nullptr, 5}, {"1.2.5", "x", -1},
             {nullptr, "x", 1}}) {
        CupsBackendSNMPConnection::CupsBackendSNMWalkCB(oid, data, length, &connection);
    }
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

}  // namespace
