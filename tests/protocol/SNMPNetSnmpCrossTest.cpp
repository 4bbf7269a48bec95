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
    snmp_free_pdu(parsed);
}

#else

TEST(SNMPNetSnmpCross, NeedsNetSnmp) { GTEST_SKIP() << "net-snmp's library was not found at configure time"; }

#endif
