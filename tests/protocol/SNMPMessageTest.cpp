// What the SNMP request protocol puts on the wire, read back by the simulator's agent decoder.
#include <gtest/gtest.h>

#include "SnmpMessage.h"
#include "helpers/ScriptedConnection.h"
#include "protocol/SNMPDataPacket.h"
#include "protocol/SNMPProtocol.h"
#include "protocol/SNMPResp.h"

// Printers answer only a version-2c GetRequest in their read community.
TEST(SNMPRequest, GoesOutAsVersion2cGetRequestInTheReadCommunity) {
    auto* connection = new ScriptedConnection();
    SNMPProtocol protocol(connection);
    protocol.assignResponseBuilder(new SNMPResp());
    Data pdu, answer;
    SNMPDataPacket().createPDUGetRequest(7, {".1.3.6.1.2.1.43.8.2.1.13.1.1", ".1.3.6.1.2.1.25.2.3.1.3"}, pdu);
    protocol.doRequest(&pdu, answer);
    ASSERT_EQ(connection->writes.size(), 1u);
    const ScriptedConnection::Bytes& datagram = connection->writes[0];
    SnmpMessage message;
    ASSERT_EQ(message.decode(datagram.data(), datagram.size()), 0);
    EXPECT_EQ(message.version, 1);
    EXPECT_EQ(message.community, "opencm");
    EXPECT_EQ(message.pduType, SnmpMessage::kGetRequest);
    EXPECT_EQ(message.requestId, 7);
    ASSERT_EQ(message.bindings.size(), 2u);
    EXPECT_EQ(MibView::oidText(message.bindings[1].oid), ".1.3.6.1.2.1.25.2.3.1.3");
    EXPECT_EQ(message.bindings[1].tag, SnmpVarBind::kNull);
}
