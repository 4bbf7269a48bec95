// SnmpAnswers: SNMP messages as an agent sends them, built with the simulator's encoder (the
// test program links the simulator's library).
#pragma once

#include <string>
#include <vector>

#include "SnmpMessage.h"

namespace snmp_answers {

// A binding of |oid| with |tag| and the value's content bytes |content|.
inline SnmpVarBind binding(const std::string& oid, unsigned char tag, const std::string& content = "") {
    SnmpVarBind bind;
    MibView::parseOid(oid, bind.oid);
    bind.tag = static_cast<SnmpVarBind::Tag>(tag);
    bind.text = content;
    return bind;
}
inline SnmpVarBind text(const std::string& oid, const std::string& value) {
    return binding(oid, SnmpVarBind::kOctetString, value);
}
inline SnmpVarBind integer(const std::string& oid, long value) {
    SnmpVarBind bind = binding(oid, SnmpVarBind::kInteger);
    bind.number = value;
    return bind;
}

// A version-2c GetResponse of the read community "opencm", request id 1.
inline std::string getResponse(const std::vector<SnmpVarBind>& bindings, long errorStatus = 0) {
    SnmpMessage message;
    message.version = 1;
    message.community = "opencm";
    message.pduType = SnmpMessage::kGetResponse;
    message.requestId = 1;
    message.errorStatus = errorStatus;
    message.bindings = bindings;
    return message.encode();
}

}  // namespace snmp_answers
