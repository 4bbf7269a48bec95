// Tests of the SNMP BER codec: request bytes, response decoding and hostile answers.
#include <gtest/gtest.h>

#include "helpers/DamagedAnswers.h"
#include "helpers/SnmpAnswers.h"
#include "protocol/SNMPDataPacket.h"

using namespace snmp_answers;
using Bytes = std::vector<unsigned char>;

namespace {

// Decodes from a heap copy of exactly the message's size: a sanitizer build reports overreads.
std::map<std::string, std::string> decode(const std::string& message, int expectedResult = 0) {
    std::unique_ptr<unsigned char[]> copy(new unsigned char[message.size() + 1]);
    std::copy(message.begin(), message.end(), copy.get());
    SNMPDataPacket packet;
    EXPECT_EQ(expectedResult, packet.parsePDUGetResponse(copy.get(), static_cast<int>(message.size())));
    return packet.getResponseTable();
}

}  // namespace

TEST(SNMPDataPacket, WritesAndReadsTheBerLengthForms) {
    const std::pair<unsigned int, Bytes> written[] = {
        {127, {0x7F}}, {128, {0x81, 0x80}}, {300, {0x82, 0x01, 0x2C}}, {0x01000000, {0x84, 1, 0, 0, 0}}};
    for (const auto& [length, bytes] : written) {
        std::vector<unsigned char> out;
        EXPECT_EQ(static_cast<int>(bytes.size()), SNMPDataPacket::addVariableLengthSize(out, length));
        EXPECT_EQ(bytes, out) << length;
    }
    // 0x80 is the length 128, and the count of a long form is masked to four bits.
    const std::tuple<Bytes, unsigned int, size_t> read[] = {
        {{0x80, 0xAA}, 128, 1}, {{0x82, 0x01, 0x2C}, 300, 3}, {{0x91, 0x05}, 5, 2}, {{0x84, 0x00, 0x01}, 0, 3}};
    for (const auto& [bytes, length, consumed] : read) {
        ByteCursor cursor(bytes.data(), bytes.size());
        EXPECT_EQ(length, SNMPDataPacket::getVariableLengthSize(cursor)) << int(bytes[0]);
        EXPECT_EQ(consumed, cursor.position()) << int(bytes[0]);
    }
}

TEST(SNMPDataPacket, BuildsTheRequestWithTheOnePointThreeShortcutAndAOneByteRequestId) {
    std::vector<unsigned char> arc;
    EXPECT_EQ(6, SNMPDataPacket::addOID(arc, "1.3..300.0"));
    EXPECT_EQ((Bytes{0x06, 0x04, 0x2B, 0x82, 0x2C, 0x00}), arc);
    arc.clear();  // the length counts the arc bytes less one, also for a lone arc
    EXPECT_EQ(3, SNMPDataPacket::addOID(arc, ".5"));
    EXPECT_EQ((Bytes{0x06, 0x00, 0x2B}), arc);

    SNMPDataPacket packet;
    Data pdu, message, untouched;
    packet.createPDUGetRequest(0x1234, {".1.3.6.1.2.1.43.5.1"}, pdu);
    ASSERT_GT(packet.getSNMPPacket(&pdu, 1, "opencm", message), 0);
    EXPECT_EQ((Bytes{0x30, 0x26, 0x02, 0x01, 0x01, 0x04, 0x06, 'o',  'p',  'e',  'n',  'c',  'm',  0xA0,
                     0x19, 0x02, 0x01, 0x34, 0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x0E, 0x30, 0x0C,
                     0x06, 0x08, 0x2B, 0x06, 0x01, 0x02, 0x01, 0x2B, 0x05, 0x01, 0x05, 0x00}),
              Bytes(message.get(), message.get() + message.size()));
    EXPECT_EQ(0, packet.getSNMPPacket(&untouched, 1, "opencm", untouched));
    EXPECT_EQ(0, packet.createPDUGetRequest(1, std::list<std::string>(400, ".1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1.1"),
                                            untouched));
    EXPECT_EQ(0, untouched.size());
}

TEST(SNMPDataPacket, KeysDecodedValuesByTheirText) {
    const SnmpVarBind tray = text(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1");
    EXPECT_EQ(decode(getResponse({
                  tray,
                  integer(".1.3.6.1.2.1.43.5.1.1.2.1", 100000),                   // four digits kept
                  binding(".1.3.6.1.2.1.43.5.1.1.3.1", SnmpVarBind::kInteger, "\xFF"),  // read unsigned
                  text(".1.3.6.1.4.1.123456.7", "Duplexor"),                      // arc cut to four digits
                  text(".1.3.6.1.2.1.43.9.2.1.7.1.1", std::string("Bin 1\0junk", 10)),
                  text(".1.3.6.1.2.1.43.9.2.1.7.1.2", "Bin 1"),  // same value: last wins
              })),
              (std::map<std::string, std::string>{{"Tray 1", ".1.3.6.1.2.1.43.8.2.1.13.1.1"},
                                                  {"1000", ".1.3.6.1.2.1.43.5.1.1.2.1"},
                                                  {"255", ".1.3.6.1.2.1.43.5.1.1.3.1"},
                                                  {"Duplexor", ".1.3.6.1.4.1.1234.7"},
                                                  {"Bin 1", ".1.3.6.1.2.1.43.9.2.1.7.1.2"}}));
    // An error status, or a PDU other than a GetResponse, decodes nothing.
    std::string getRequest = getResponse({tray});
    getRequest[13] = '\xA0';  // the PDU tag after version and community
    for (const std::string& rejected : {getResponse({tray}, 2), getRequest}) {
        SNMPDataPacket other;
        other.parsePDUGetResponse(reinterpret_cast<const unsigned char*>(rejected.data()),
                                  static_cast<int>(rejected.size()));
        EXPECT_EQ(-1, other.getOptionAvailability("Tray 1"));
    }
}

TEST(SNMPDataPacket, SkipsValuesOfOtherTypesByTheirOwnLength) {
    std::vector<SnmpVarBind> bindings = {text(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1")};
    // NULL, noSuchObject, noSuchInstance, endOfMibView, Counter32, Gauge, TimeTicks, an
    // identifier, and a string long enough for the long length form of its binding.
    const std::pair<unsigned char, std::string> others[] = {
        {0x05, ""}, {0x80, ""}, {0x81, ""}, {0x82, ""}, {0x41, "\x01\x02\x03\x04"}, {0x42, "\x3B\x9A\xCA\x00"},
        {0x43, std::string("\x00\xFF\xFF\xFF", 4)}, {0x06, SnmpMessage::encodeOid({1, 3, 6, 1, 4, 1, 99, 1}).substr(2)},
        {0x04, std::string(200, 'x')}};
    for (const auto& [tag, value] : others) bindings.push_back(binding(".1.3.6.1.2.1.1.3.0", tag, value));
    bindings.push_back(text(".1.3.6.1.2.1.43.13.4.1.10.1.2", "Duplexor"));
    auto table = decode(getResponse(bindings));
    EXPECT_EQ(1u, table.count("Tray 1"));
    EXPECT_EQ(".1.3.6.1.2.1.43.13.4.1.10.1.2", table["Duplexor"]);
    // Every length in the long form without need, as some agents write them.
    EXPECT_EQ(decode(std::string("\x30\x82\x00\x2D\x02\x01\x01\x04\x06opencm\xA2\x82\x00\x1E\x02\x01\x01\x02\x01\x00"
                                 "\x02\x01\x00\x30\x82\x00\x11\x30\x82\x00\x0D\x06\x03\x2B\x06\x01\x04\x06" "Feeder", 49)),
              (std::map<std::string, std::string>{{"Feeder", ".1.3.6.1"}}));
}

TEST(SNMPDataPacket, TruncatedOrCorruptedAnswersDecodeNothingForeign) {
    std::string message = getResponse({
        text(".1.3.6.1.2.1.43.8.2.1.13.1.1", "Tray 1"),
        integer(".1.3.6.1.2.1.43.5.1.1.2.1", 7),
        binding(".1.3.6.1.2.1.1.3.0", 0x43, std::string("\x00\xFF\xFF\xFF", 4)),
        text(".1.3.6.1.2.1.43.8.2.1.13.1.2", "Tray 2"),
    });
    const auto full = decode(message);
    ASSERT_EQ(3u, full.size());
    // Lengths that claim more than the datagram holds end the decode.
    cfftest::feedDamaged(message, 5000, 3, [&full](const std::string& bytes, bool cut) {
        for (const auto& entry : decode(bytes)) {
            EXPECT_TRUE(!cut || full.count(entry.first)) << "cut at " << bytes.size() << ": " << entry.first;
        }
    });
}
