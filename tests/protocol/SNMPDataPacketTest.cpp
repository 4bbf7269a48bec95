// Tests of the SNMP BER codec: request bytes, response decoding and hostile answers.
#include <gtest/gtest.h>

#include <random>

#include "helpers/SNMPTestMessages.h"
#include "protocol/SNMPDataPacket.h"

using snmptest::Bytes;

namespace {

const char* const kTrayOid = ".1.3.6.1.2.1.43.8.2.1.13.1.1";

Bytes toBytes(const Data& data) { return Bytes(data.get(), data.get() + data.size()); }

// Decodes |message| from a heap copy of exactly its size, so that a sanitizer build
// reports any read past the datagram.
SNMPDataPacket decode(const Bytes& message) {
    SNMPDataPacket packet;
    std::unique_ptr<unsigned char[]> copy(new unsigned char[message.size() + 1]);
    std::copy(message.begin(), message.end(), copy.get());
    EXPECT_EQ(0, packet.parsePDUGetResponse(copy.get(), static_cast<int>(message.size())));
    return packet;
}

}  // namespace

TEST(SNMPDataPacketLength, WritesShortAndLongForms) {
    struct Case {
        unsigned int length;
        Bytes expected;
    } cases[] = {
        {0, {0x00}},
        {127, {0x7F}},
        {128, {0x81, 0x80}},
        {255, {0x81, 0xFF}},
        {300, {0x82, 0x01, 0x2C}},
        {0x10000, {0x83, 0x01, 0x00, 0x00}},
        {0x01000000, {0x84, 0x01, 0x00, 0x00, 0x00}},
    };
    for (const Case& c : cases) {
        std::vector<unsigned char> out;
        EXPECT_EQ(static_cast<int>(c.expected.size()), SNMPDataPacket::addVariableLengthSize(out, c.length));
        EXPECT_EQ(c.expected, out) << c.length;
    }
}

TEST(SNMPDataPacketLength, ReadsWithAFourBitCountAndTakes0x80AsTheLength) {
    struct Case {
        Bytes bytes;
        unsigned int length;
        size_t consumed;
    } cases[] = {
        {{0x7F}, 127, 1},
        {{0x80, 0xAA}, 128, 1},  // not the indefinite form
        {{0x81, 0x80}, 128, 2},
        {{0x82, 0x01, 0x2C}, 300, 3},
        {{0x91, 0x05}, 5, 2},  // 0x91 & 0x0F: one length byte
        {{0x90, 0x05}, 0, 1},
        {{0x84, 0x00, 0x01}, 0, 3},  // count past the end: nothing, cursor at the end
    };
    for (const Case& c : cases) {
        ByteCursor cursor(c.bytes.data(), c.bytes.size());
        EXPECT_EQ(c.length, SNMPDataPacket::getVariableLengthSize(cursor)) << int(c.bytes[0]);
        EXPECT_EQ(c.consumed, cursor.position()) << int(c.bytes[0]);
    }
}

TEST(SNMPDataPacketRequest, EncodesIdentifiersWithTheOnePointThreeShortcut) {
    struct Case {
        std::string oid;
        Bytes expected;
    } cases[] = {
        {".1.3.6.1.2.1.43.5.1", {0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x2B, 0x05, 0x01}},
        {"1.3.6.1.2.1.43.5.1", {0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x2B, 0x05, 0x01}},
        {".1.3..300.0", {0x06, 0x04, 0x2B, 0x82, 0x2C, 0x00}},
        {".1.3.6.1.4.1.5931.20480", {0x06, 0x0A, 0x2B, 0x06, 0x01, 0x04, 0x01, 0xAE, 0x2B, 0x81, 0xA0, 0x00}},
    };
    for (const Case& c : cases) {
        std::vector<unsigned char> out;
        EXPECT_EQ(static_cast<int>(c.expected.size()), SNMPDataPacket::addOID(out, c.oid));
        EXPECT_EQ(c.expected, out) << c.oid;
    }
    std::vector<unsigned char> empty;
    EXPECT_EQ(2, SNMPDataPacket::addSequence(empty, ""));
    EXPECT_EQ((Bytes{0x30, 0x00}), empty);
}

TEST(SNMPDataPacketRequest, BuildsTheWholeMessageWithAOneByteRequestId) {
    SNMPDataPacket packet;
    Data pdu;
    int size = packet.createPDUGetRequest(0x1234, {".1.3.6.1.2.1.43.5.1"}, pdu);
    Bytes expectedPdu = {0xA0, 0x17, 0x02, 0x01, 0x34, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00,
                         0x30, 0x0E, 0x30, 0x0C, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01,
                         0x2B, 0x05, 0x01, 0x05, 0x00};
    expectedPdu[1] = static_cast<unsigned char>(expectedPdu.size() - 2);
    EXPECT_EQ(static_cast<int>(expectedPdu.size()), size);
    EXPECT_EQ(expectedPdu, toBytes(pdu));

    Data message;
    int messageSize = packet.getSNMPPacket(&pdu, 1, "opencm", message);
    Bytes expected = {0x30, static_cast<unsigned char>(11 + expectedPdu.size()), 0x02, 0x01, 0x01,
                      0x04, 0x06, 'o', 'p', 'e', 'n', 'c', 'm'};
    expected.insert(expected.end(), expectedPdu.begin(), expectedPdu.end());
    EXPECT_EQ(static_cast<int>(expected.size()), messageSize);
    EXPECT_EQ(expected, toBytes(message));

    Data empty;
    Data untouched;
    EXPECT_EQ(0, packet.getSNMPPacket(&empty, 1, "opencm", untouched));
    EXPECT_EQ(0, packet.getSNMPPacket(nullptr, 1, "opencm", untouched));
    EXPECT_EQ(0, untouched.size());
}

TEST(SNMPDataPacketRequest, RefusesBindingsBeyondTheWorkingArea) {
    std::list<std::string> many(400, ".1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1.1");
    SNMPDataPacket packet;
    Data pdu;
    EXPECT_EQ(0, packet.createPDUGetRequest(1, many, pdu));
    EXPECT_EQ(0, pdu.size());
}

TEST(SNMPDataPacketDecode, KeysStringsAndIntegersByValue) {
    Bytes message = snmptest::getResponse({
        snmptest::stringBinding(kTrayOid, "Tray 1"),
        snmptest::integerBinding(".1.3.6.1.2.1.43.5.1.1.2.1", 100000),  // keyed by 4 digits
        snmptest::integerBinding(".1.3.6.1.2.1.43.5.1.1.3.1", 0xFF),    // unsigned reading
        snmptest::stringBinding(".1.3.6.1.4.1.123456.7", "Duplexor"),   // arc cut to 4 digits
        snmptest::stringBinding(".1.3.6.1.2.1.43.9.2.1.7.1.1", std::string("Bin 1\0junk", 10)),
    });
    SNMPDataPacket packet = decode(message);
    std::map<std::string, std::string> expected = {
        {"Tray 1", kTrayOid},
        {"1000", ".1.3.6.1.2.1.43.5.1.1.2.1"},
        {"255", ".1.3.6.1.2.1.43.5.1.1.3.1"},
        {"Duplexor", ".1.3.6.1.4.1.1234.7"},
        {"Bin 1", ".1.3.6.1.2.1.43.9.2.1.7.1.1"},
    };
    EXPECT_EQ(expected, packet.getResponseTable());

    std::string oid;
    EXPECT_TRUE(packet.getOIDValue("Tray 1", oid));
    EXPECT_EQ(kTrayOid, oid);
    EXPECT_FALSE(packet.getOIDValue("Tray 2", oid));
    EXPECT_EQ("", oid);
    EXPECT_EQ(1, packet.getOptionAvailability("Bin 1"));
    EXPECT_EQ(0, packet.getOptionAvailability(std::string("Bin 1\0junk", 10)));

    int requestId = 0, errorStatus = 0, errorIndex = 0, version = 0;
    std::string community;
    EXPECT_TRUE(packet.getRequestInfo(message.data(), static_cast<int>(message.size()), requestId, errorStatus,
                                      errorIndex));
    EXPECT_EQ(1, requestId);
    EXPECT_EQ(0, errorStatus);
    EXPECT_EQ(0, errorIndex);
    EXPECT_TRUE(packet.getSnmpPacketInfo(message.data(), static_cast<int>(message.size()), version, community));
    EXPECT_EQ(1, version);
    EXPECT_EQ("opencm", community);
}

TEST(SNMPDataPacketDecode, ASecondEqualValueKeepsTheLastIdentifier) {
    SNMPDataPacket packet = decode(snmptest::getResponse({
        snmptest::stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray"),
        snmptest::stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.2", "Tray"),
    }));
    ASSERT_EQ(1u, packet.getResponseTable().size());
    EXPECT_EQ(".1.3.6.1.2.1.43.8.2.1.13.1.2", packet.getResponseTable().at("Tray"));
}

TEST(SNMPDataPacketDecode, RejectedOrForeignMessagesLeaveTheTableEmpty) {
    std::vector<snmptest::Binding> tray = {snmptest::stringBinding(kTrayOid, "Tray 1")};
    Bytes errorStatus = snmptest::getResponse(tray, 2);
    Bytes notSequence = snmptest::getResponse(tray);
    notSequence[0] = 0x31;
    Bytes getRequest = snmptest::getResponse(tray);
    getRequest[2 + 3 + 8] = 0xA0;  // the PDU tag after version and community
    for (const Bytes& message : {errorStatus, notSequence, getRequest, Bytes{}}) {
        SNMPDataPacket packet = decode(message);
        EXPECT_TRUE(packet.getResponseTable().empty());
        EXPECT_EQ(-1, packet.getOptionAvailability("Tray 1"));
        std::string oid;
        EXPECT_FALSE(packet.getOIDValue("Tray 1", oid));
    }
    SNMPDataPacket packet;
    EXPECT_EQ(0, packet.parsePDUGetResponse(nullptr, 10));
}

TEST(SNMPDataPacketDecode, SkipsValuesOfOtherTypesByTheirOwnLength) {
    std::vector<snmptest::Binding> bindings = {snmptest::stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1")};
    const std::vector<snmptest::Binding> others = {
        {".1.3.6.1.2.1.43.8.2.1.13.1.2", 0x05, {}},                  // NULL
        {".1.3.6.1.2.1.43.8.2.1.13.1.3", 0x80, {}},                  // noSuchObject
        {".1.3.6.1.2.1.43.8.2.1.13.1.4", 0x81, {}},                  // noSuchInstance
        {".1.3.6.1.2.1.43.8.2.1.13.1.5", 0x82, {}},                  // endOfMibView
        {".1.3.6.1.2.1.2.2.1.10.1", 0x41, {0x01, 0x02, 0x03, 0x04}},  // Counter32
        {".1.3.6.1.2.1.2.2.1.5.1", 0x42, {0x3B, 0x9A, 0xCA, 0x00}},  // Gauge
        {".1.3.6.1.2.1.1.3.0", 0x43, {0x00, 0xFF, 0xFF, 0xFF}},      // TimeTicks
        {".1.3.6.1.2.1.1.2.0", 0x06, snmptest::oidContent(".1.3.6.1.4.1.99.1")},
        {".1.3.6.1.2.1.25.2.3.1.3", 0x04, snmptest::textBytes(std::string(200, 'x'))},  // long form
    };
    for (const auto& other : others) {
        bindings.push_back(other);
    }
    bindings.push_back(snmptest::stringBinding(".1.3.6.1.2.1.43.13.4.1.10.1.2", "Duplexor"));

    SNMPDataPacket packet = decode(snmptest::getResponse(bindings));
    EXPECT_EQ(1, packet.getOptionAvailability("Tray 1"));
    EXPECT_EQ(1, packet.getOptionAvailability("Duplexor"));
    std::string oid;
    EXPECT_TRUE(packet.getOIDValue("Duplexor", oid));
    EXPECT_EQ(".1.3.6.1.2.1.43.13.4.1.10.1.2", oid);
}

TEST(SNMPDataPacketDecode, TruncatedAnswersDecodeOnlyCompleteValues) {
    Bytes message = snmptest::getResponse({
        snmptest::stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1"),
        snmptest::stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.2", "Tray 2"),
        snmptest::integerBinding(".1.3.6.1.2.1.43.5.1.1.2.1", 7),
    });
    const auto full = decode(message).getResponseTable();
    ASSERT_EQ(3u, full.size());
    for (size_t cut = 0; cut < message.size(); ++cut) {
        Bytes truncated(message.begin(), message.begin() + static_cast<long>(cut));
        SNMPDataPacket packet = decode(truncated);
        for (const auto& entry : packet.getResponseTable()) {
            auto it = full.find(entry.first);
            ASSERT_NE(it, full.end()) << "cut at " << cut << ": " << entry.first;
            EXPECT_EQ(it->second, entry.second);
        }
    }
}

TEST(SNMPDataPacketDecode, LyingLengthsEndTheDecode) {
    Bytes header = {0x30, 0x82, 0xFF, 0xFF, 0x02, 0x01, 0x01, 0x04, 0x06, 'o', 'p', 'e', 'n', 'c', 'm',
                    0xA2, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, 0x02, 0x01, 0x01, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00};
    const Bytes lists[] = {
        // list claims 4 GiB, one binding claims more than there is
        {0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, 0x30, 0x8F, 0xFF, 0x06, 0x03, 0x2B, 0x06, 0x01},
        // string length beyond the end
        {0x30, 0x0E, 0x30, 0x0C, 0x06, 0x03, 0x2B, 0x06, 0x01, 0x04, 0x7F, 'T', 'r', 'a', 'y'},
        // identifier length beyond the end, arc with endless continuation bits
        {0x30, 0x10, 0x30, 0x0E, 0x06, 0x40, 0x2B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
        // zero-length bindings
        {0x30, 0x06, 0x30, 0x00, 0x30, 0x00, 0x30, 0x00},
        // integer longer than 32 bits, then nothing
        {0x30, 0x10, 0x30, 0x0E, 0x06, 0x02, 0x2B, 0x06, 0x02, 0x08, 1, 2, 3, 4, 5, 6, 7, 8},
    };
    for (const Bytes& list : lists) {
        Bytes message = header;
        message.insert(message.end(), list.begin(), list.end());
        SNMPDataPacket packet = decode(message);
        for (const auto& entry : packet.getResponseTable()) {
            EXPECT_NE("Tray", entry.first);
        }
    }
    // The 8-byte integer keeps its low 32 bits (0x05060708), rendered in four digits.
    Bytes message = header;
    message.insert(message.end(), std::begin(lists[4]), std::end(lists[4]));
    EXPECT_EQ(1, decode(message).getOptionAvailability("8428"));
}

TEST(SNMPDataPacketDecode, SurvivesRandomCorruption) {
    Bytes message = snmptest::getResponse({
        snmptest::stringBinding(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1"),
        snmptest::integerBinding(".1.3.6.1.2.1.43.5.1.1.2.1", 100000),
        {".1.3.6.1.2.1.1.3.0", 0x43, {0x00, 0xFF, 0xFF, 0xFF}},
        snmptest::stringBinding(".1.3.6.1.2.1.43.9.2.1.7.1.1", "Standard Bin"),
    });
    std::mt19937 random(1234);
    for (int round = 0; round < 5000; ++round) {
        Bytes corrupted = message;
        int flips = 1 + static_cast<int>(random() % 4);
        for (int i = 0; i < flips; ++i) {
            corrupted[random() % corrupted.size()] = static_cast<unsigned char>(random());
        }
        corrupted.resize(random() % (corrupted.size() + 1));
        decode(corrupted);  // must end, and stay inside the buffer
    }
}
