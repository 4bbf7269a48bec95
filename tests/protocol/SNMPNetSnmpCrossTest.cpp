// Cross-check of the SNMP request encoder against net-snmp's independent decoder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/SNMPConfigCmd.h"
#include "protocol/SNMPDataPacket.h"

#ifdef CFF_HAVE_NETSNMP
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/snmp_impl.h>

TEST(SNMPNetSnmpCross, TheConfigurationRequestDecodesAsVersion2cGetWithAllIdentifiersInOrder) {
    SNMPConfigCmd command;
    Data* pdu = command.getCommand(0x1234);
    ASSERT_NE(pdu, nullptr);
    Data message;
    ASSERT_GT(SNMPDataPacket().getSNMPPacket(pdu, 1, "opencm", message), 0);
    ASSERT_GT(message.size(), 1000);  // 63 bindings: the lengths take the long form

    std::vector<u_char> bytes(message.get(), message.get() + message.size());
    size_t length = bytes.size(), communityLength = 64;
    u_char community[64] = {0};
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
    EXPECT_EQ(0, parsed->errstat + parsed->errindex);
    std::vector<std::string> decoded;
    for (netsnmp_variable_list* v = parsed->variables; v != nullptr; v = v->next_variable) {
        std::string dotted;
        for (size_t i = 0; i < v->name_length; ++i) dotted += "." + std::to_string(v->name[i]);
        decoded.push_back(dotted);
        EXPECT_EQ(ASN_NULL, v->type);
    }
    EXPECT_EQ(std::vector<std::string>(SNMPConfigCmd::getOIDList().begin(), SNMPConfigCmd::getOIDList().end()),
              decoded);
    EXPECT_EQ(63u, decoded.size());
    snmp_free_pdu(parsed);
}

#else

TEST(SNMPNetSnmpCross, NeedsNetSnmp) { GTEST_SKIP() << "net-snmp's library was not found at configure time"; }

#endif
