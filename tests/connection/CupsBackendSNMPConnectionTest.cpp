// Tests for SNMP walks through the backend side channel on fd 4.
#include <gtest/gtest.h>

#include <cups/sidechannel.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "connection/CupsBackendSNMPConnection.h"
#include "helpers/FdSlot.h"
#include "helpers/ScriptedSideChannel.h"
#include "helpers/TestUtil.h"

namespace {

using cfftest::text;

const char* kLevels = "1.3.6.1.2.1.43.11.1.1.9";

cfftest::ScriptedSideChannel::Script levelsDevice() {
    cfftest::ScriptedSideChannel::Script script;
    script.objects = {
        {"1.3.6.1.2.1.43.11.1.1.8.1.1", "1000"},
        {"1.3.6.1.2.1.43.11.1.1.9.1.1", "100"},
        {"1.3.6.1.2.1.43.11.1.1.9.1.2", "-3"},
        {"1.3.6.1.2.1.43.11.1.1.9.1.10", "Black Toner"},
        {"1.3.6.1.2.1.43.12.1.1.4.1.1", "black"},
    };
    return script;
}

}  // namespace

TEST(CupsBackendSNMPConnection, WalkCollectsOneLinePerObjectInBackendOrder) {
    cfftest::ScriptedSideChannel backend(levelsDevice());
    ASSERT_TRUE(backend.ok());
    CupsBackendSNMPConnection connection;
    connection.setTimeoutVal(2.0);
    EXPECT_EQ(connection.doOpen(), 0);
    // The protocol may or may not send the terminating zero.
    Data request(std::string(kLevels) + std::string(1, '\0'));
    ASSERT_EQ(connection.doWrite(&request), 0);

    Data answer;
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer),
              "1.3.6.1.2.1.43.11.1.1.9.1.1=100\n"
              "1.3.6.1.2.1.43.11.1.1.9.1.2=-3\n"
              "1.3.6.1.2.1.43.11.1.1.9.1.10=Black Toner\n");
    Data again(std::string("kept"));
    EXPECT_EQ(connection.doRead(again), -1);
    EXPECT_EQ(text(again), "kept");

    // Two walks before one read give both results.
    Data one(std::string("1.3.6.1.2.1.43.11.1.1.8"));
    Data two(std::string("1.3.6.1.2.1.43.12.1.1.4"));
    ASSERT_EQ(connection.doWrite(&one), 0);
    ASSERT_EQ(connection.doWrite(&two), 0);
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer),
              "1.3.6.1.2.1.43.11.1.1.8.1.1=1000\n"
              "1.3.6.1.2.1.43.12.1.1.4.1.1=black\n");
    EXPECT_EQ(connection.doClose(), 0);

    auto requests = backend.stop();
    ASSERT_EQ(requests.size(), 8u);
    EXPECT_EQ(requests[0].command, CUPS_SC_CMD_SNMP_GET_NEXT);
    EXPECT_EQ(requests[0].data, std::string(kLevels) + std::string(1, '\0'));
}

TEST(CupsBackendSNMPConnection, WalkThatFailsGivesMinusOne) {
    CupsBackendSNMPConnection connection;
    connection.setTimeoutVal(0.3);
    Data request{std::string(kLevels)};
    Data answer;

    {
        auto script = levelsDevice();
        script.statuses[CUPS_SC_CMD_SNMP_GET_NEXT] = CUPS_SC_STATUS_NOT_IMPLEMENTED;
        cfftest::ScriptedSideChannel refusing(script);
        ASSERT_TRUE(refusing.ok());
        EXPECT_EQ(connection.doWrite(&request), -1);
        EXPECT_EQ(connection.doRead(answer), -1);
    }
    {
        auto script = levelsDevice();
        script.replyDelayMs = 800;
        cfftest::ScriptedSideChannel slow(script);
        ASSERT_TRUE(slow.ok());
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(connection.doWrite(&request), -1);
        EXPECT_LT(cfftest::secondsSince(start), 0.75);
    }
    {
        cfftest::FdSlot sideChannel(4);
        close(4);
        EXPECT_EQ(connection.doWrite(&request), -1);
    }
    Data empty;
    EXPECT_EQ(connection.doWrite(&empty), -1);
    EXPECT_EQ(connection.doWrite(nullptr), -1);
    EXPECT_EQ(connection.doRead(answer), -1);
}

TEST(CupsBackendSNMPConnection, CallbackKeepsGivenLengthAndDropsEmptyParts) {
    CupsBackendSNMPConnection connection;
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.1", "12345", 3, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.2", "a\0b", 3, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.3", "", 0, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.4", nullptr, 5, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.5", "x", -1, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB(nullptr, "x", 1, &connection);
    CupsBackendSNMPConnection::CupsBackendSNMWalkCB("1.2.6", "x", 1, nullptr);
    EXPECT_FALSE(connection.putSnmpResponse("", "x"));
    EXPECT_FALSE(connection.putSnmpResponse("1.2.7", ""));
    EXPECT_TRUE(connection.putSnmpResponse("1.2.8", "v"));

    Data answer;
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_EQ(text(answer), std::string("1.2.1=123\n1.2.2=a\0b\n1.2.8=v\n", 28));
}

TEST(CupsBackendSNMPConnection, CollectedTextIsBounded) {
    CupsBackendSNMPConnection connection;
    std::string value(60000, 'v');
    size_t stored = 0;
    for (int i = 0; i < 40; ++i) {
        if (connection.putSnmpResponse("1.2." + std::to_string(i), value)) {
            ++stored;
        }
    }
    EXPECT_GT(stored, 0u);
    EXPECT_LT(stored, 40u);
    Data answer;
    ASSERT_EQ(connection.doRead(answer), 0);
    EXPECT_LE(static_cast<size_t>(answer.size()),
              CupsBackendSNMPConnection::kMaxCollectedBytes + stored);
    // The bound applies between reads, not over the connection's life.
    EXPECT_TRUE(connection.putSnmpResponse("1.3", value));
}
