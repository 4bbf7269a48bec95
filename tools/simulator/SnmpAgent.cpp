// SnmpAgent: answers SNMP GetRequest and GetNextRequest messages from a MIB view.
#include "SnmpAgent.h"

#include "SnmpMessage.h"

namespace {

void fill(SnmpVarBind& bind, const ProfileSnmpValue& value) {
    switch (value.kind) {
        case ProfileSnmpValue::kInteger:
            bind.tag = SnmpVarBind::kInteger;
            bind.number = value.number;
            break;
        case ProfileSnmpValue::kCounter:
            bind.tag = SnmpVarBind::kCounter;
            bind.number = value.number;
            break;
        case ProfileSnmpValue::kString:
            bind.tag = SnmpVarBind::kOctetString;
            bind.text = value.text;
            break;
    }
}

}  // namespace

bool SnmpAgent::handle(const unsigned char* bytes, size_t size, std::string& reply) const {
    SnmpMessage message;
    if (message.decode(bytes, size) != 0 || message.pduType == SnmpMessage::kGetResponse) {
        return false;
    }
    if (!profile_.snmpCommunity.empty() && message.community != profile_.snmpCommunity) {
        return false;
    }
    bool standard = profile_.unknownOids == DeviceProfile::UnknownOidPolicy::kStandard;
    SnmpMessage response = message;
    response.pduType = SnmpMessage::kGetResponse;
    response.errorStatus = SnmpMessage::kNoError;
    response.errorIndex = 0;
    for (size_t i = 0; i < response.bindings.size(); ++i) {
        SnmpVarBind& bind = response.bindings[i];
        bind.text.clear();
        bind.number = 0;
        const ProfileSnmpValue* value = nullptr;
        bool found = false;
        if (message.pduType == SnmpMessage::kGetNextRequest) {
            MibView::Oid nextOid;
            found = view_.next(bind.oid, nextOid, value);
            if (found) {
                bind.oid = nextOid;
            }
        } else {
            value = view_.find(bind.oid);
            found = value != nullptr;
        }
        if (found) {
            fill(bind, *value);
            continue;
        }
        if (!standard && message.pduType == SnmpMessage::kGetRequest) {
            // Hosts of this family decode only INTEGER and OCTET STRING values, so an object
            // the printer lacks is answered with an empty text.
            bind.tag = SnmpVarBind::kOctetString;
            continue;
        }
        if (message.version == 0) {
            // SNMPv1 has no exception values: the whole request fails at this binding.
            response = message;
            response.pduType = SnmpMessage::kGetResponse;
            response.errorStatus = SnmpMessage::kNoSuchName;
            response.errorIndex = static_cast<long>(i + 1);
            break;
        }
        bind.tag = message.pduType == SnmpMessage::kGetNextRequest ? SnmpVarBind::kEndOfMibView
                                                                   : SnmpVarBind::kNoSuchObject;
    }
    reply = response.encode();
    return true;
}
