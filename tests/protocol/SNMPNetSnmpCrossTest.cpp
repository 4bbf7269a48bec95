// Cross-checks of the SNMP codec against net-snmp's independent encoder and decoder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "helpers/SNMPTestMessages.h"
#include "core/SNMPConfigCmd.h"
#include "protocol/SNMPDataPacket.h"

#ifdef CFF_HAVE_NETSNMP
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/snmp_impl.h>

namespace {

std::string dotted(const oid* name, size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        text += "." + std::to_string(name[i]);
    }
    return text;
}

}  // namespace

TEST(SNMPNetSnmpCross, TheConfigurationRequestDecodesAsVersion2cGetWithAllIdentifiersInOrder) {
    SNMPConfigCmd command;
    Data* pdu = command.getCommand(0x1234);
    ASSERT_NE(pdu, nullptr);
    SNMPDataPacket packet;
    Data message;
    ASSERT_GT(packet.getSNMPPacket(pdu, 1, "opencm", message), 0);
    ASSERT_GT(message.size(), 1000);  // 63 bindings: the lengths take the long form

    std::vector<u_char> bytes(message.get(), message.get() + message.size());
    size_t length = bytes.size();
    u_char community[64] = {0};
    size_t communityLength = sizeof(community);
    long version = -1;
    u_char* data = snmp_comstr_parse(bytes.data(), &length, community, &communityLength, &version);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(SNMP_VERSION_2c, version);
    EXPECT_EQ("opencm", std::string(reinterpret_cast<char*>(community), communityLength));

    netsnmp_pdu* parsed = snmp_pdu_create(SNMP_MSG_GET);
    parsed->version = version;
    ASSERT_EQ(0, snmp_pdu_parse(parsed, data, &length));
    EXPECT_EQ(SNMP_MSG_GET, parsed->command);
    EXPECT_EQ(0x34, parsed->reqid);  // only the low 8 bits travel
    EXPECT_EQ(0, parsed->errstat);
    EXPECT_EQ(0, parsed->errindex);

    std::vector<std::string> expected(SNMPConfigCmd::getOIDList().begin(), SNMPConfigCmd::getOIDList().end());
    ASSERT_EQ(63u, expected.size());
    std::vector<std::string> decoded;
    for (netsnmp_variable_list* v = parsed->variables; v != nullptr; v = v->next_variable) {
        decoded.push_back(dotted(v->name, v->name_length));
        EXPECT_EQ(ASN_NULL, v->type);
    }
    EXPECT_EQ(expected, decoded);
    EXPECT_EQ(".1.3.6.1.2.1.43.8.2.1.13.1.1", decoded.front());
    EXPECT_EQ(".1.3.6.1.2.1.25.2.3.1.3", decoded.back());
    snmp_free_pdu(parsed);
}

TEST(SNMPNetSnmpCross, DecodesAResponseThatNetSnmpEncoded) {
    netsnmp_pdu* response = snmp_pdu_create(SNMP_MSG_RESPONSE);
    response->version = SNMP_VERSION_2c;
    response->reqid = 9;
    response->errstat = 0;
    response->errindex = 0;
    oid trayName[] = {1, 3, 6, 1, 2, 1, 43, 8, 2, 1, 13, 1, 2};
    oid binName[] = {1, 3, 6, 1, 2, 1, 43, 9, 2, 1, 7, 1, 1};
    oid counter[] = {1, 3, 6, 1, 2, 1, 43, 10, 2, 1, 4, 1, 1};
    oid missing[] = {1, 3, 6, 1, 4, 1, 7707, 6, 3, 1, 1, 8, 1, 1};
    oid number[] = {1, 3, 6, 1, 2, 1, 43, 5, 1, 1, 2, 1};
    snmp_pdu_add_variable(response, trayName, OID_LENGTH(trayName), ASN_OCTET_STR, "Tray 2", 6);
    long packets = 123456;
    snmp_pdu_add_variable(response, counter, OID_LENGTH(counter), ASN_COUNTER, &packets, sizeof(packets));
    snmp_pdu_add_variable(response, missing, OID_LENGTH(missing), SNMP_NOSUCHINSTANCE, nullptr, 0);
    long localization = 255;
    snmp_pdu_add_variable(response, number, OID_LENGTH(number), ASN_INTEGER, &localization, sizeof(localization));
    snmp_pdu_add_variable(response, binName, OID_LENGTH(binName), ASN_OCTET_STR, "Standard Bin", 12);

    std::vector<u_char> buffer(4096);
    size_t left = buffer.size();
    u_char* end = snmp_pdu_build(response, buffer.data(), &left);
    ASSERT_NE(end, nullptr);
    snmptest::Bytes pdu(buffer.data(), end);
    snmp_free_pdu(response);

    snmptest::Bytes body = snmptest::tlv(0x02, {0x01});
    snmptest::Bytes community = snmptest::tlv(0x04, snmptest::textBytes("opencm"));
    body.insert(body.end(), community.begin(), community.end());
    body.insert(body.end(), pdu.begin(), pdu.end());
    snmptest::Bytes message = snmptest::tlv(0x30, body);

    // net-snmp writes every sequence length in the two-byte long form.
    ASSERT_EQ(0x82, pdu[1]);
    SNMPDataPacket packet;
    packet.parsePDUGetResponse(message.data(), static_cast<int>(message.size()));
    std::map<std::string, std::string> expected = {
        {"Tray 2", ".1.3.6.1.2.1.43.8.2.1.13.1.2"},
        {"255", ".1.3.6.1.2.1.43.5.1.1.2.1"},
        {"Standard Bin", ".1.3.6.1.2.1.43.9.2.1.7.1.1"},
    };
    EXPECT_EQ(expected, packet.getResponseTable());
}

#else

TEST(SNMPNetSnmpCross, NeedsNetSnmp) { GTEST_SKIP() << "net-snmp's library was not found at configure time"; }

#endif
