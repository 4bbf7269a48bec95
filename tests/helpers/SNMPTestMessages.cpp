// Test helpers: BER encoding of SNMP GetResponse messages, independent of the codec under test.
#include "helpers/SNMPTestMessages.h"

#include <cstdlib>
#include <sstream>

namespace snmptest {

Bytes tlv(unsigned char tag, const Bytes& content) {
    Bytes out{tag};
    size_t n = content.size();
    if (n < 0x80) {
        out.push_back(static_cast<unsigned char>(n));
    } else {
        Bytes len;
        while (n != 0) {
            len.insert(len.begin(), static_cast<unsigned char>(n & 0xFF));
            n >>= 8;
        }
        out.push_back(static_cast<unsigned char>(0x80 | len.size()));
        out.insert(out.end(), len.begin(), len.end());
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

static void base128(Bytes& out, uint64_t value) {
    Bytes groups;
    do {
        groups.insert(groups.begin(), static_cast<unsigned char>(value & 0x7F));
        value >>= 7;
    } while (value != 0);
    for (size_t i = 0; i + 1 < groups.size(); ++i) {
        groups[i] |= 0x80;
    }
    out.insert(out.end(), groups.begin(), groups.end());
}

Bytes oidContent(const std::string& dotted) {
    std::vector<uint64_t> arcs;
    std::stringstream in(dotted);
    std::string piece;
    while (std::getline(in, piece, '.')) {
        if (!piece.empty()) {
            arcs.push_back(std::strtoull(piece.c_str(), nullptr, 10));
        }
    }
    Bytes out;
    if (arcs.size() < 2) {
        return out;
    }
    base128(out, arcs[0] * 40 + arcs[1]);
    for (size_t i = 2; i < arcs.size(); ++i) {
        base128(out, arcs[i]);
    }
    return out;
}

Bytes unsignedContent(uint32_t value) {
    Bytes out;
    do {
        out.insert(out.begin(), static_cast<unsigned char>(value & 0xFF));
        value >>= 8;
    } while (value != 0);
    return out;
}

Bytes textBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

Binding stringBinding(const std::string& oid, const std::string& text) { return {oid, 0x04, textBytes(text)}; }

Binding integerBinding(const std::string& oid, uint32_t value) { return {oid, 0x02, unsignedContent(value)}; }

static void append(Bytes& out, const Bytes& more) { out.insert(out.end(), more.begin(), more.end()); }

Bytes getResponse(const std::vector<Binding>& bindings, int errorStatus, int requestId, const std::string& community) {
    Bytes list;
    for (const Binding& b : bindings) {
        Bytes binding = tlv(0x06, oidContent(b.oid));
        append(binding, tlv(b.valueTag, b.value));
        append(list, tlv(0x30, binding));
    }
    Bytes pdu;
    append(pdu, tlv(0x02, unsignedContent(static_cast<uint32_t>(requestId))));
    append(pdu, tlv(0x02, unsignedContent(static_cast<uint32_t>(errorStatus))));
    append(pdu, tlv(0x02, unsignedContent(0)));
    append(pdu, tlv(0x30, list));
    Bytes message;
    append(message, tlv(0x02, unsignedContent(1)));
    append(message, tlv(0x04, textBytes(community)));
    append(message, tlv(0xA2, pdu));
    return tlv(0x30, message);
}

}  // namespace snmptest
