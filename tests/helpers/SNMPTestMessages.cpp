// Test helpers: BER encoding of SNMP GetResponse messages, independent of the codec under test.
#include "SNMPTestMessages.h"

#include <cstdlib>
#include <sstream>

namespace snmptest {

static void append(Bytes& out, const Bytes& more) { out.insert(out.end(), more.begin(), more.end()); }

// Big-endian bytes of |value|, without leading zeros; |groupBits| 7 gives base-128 arcs.
static Bytes digits(uint64_t value, int groupBits = 8) {
    Bytes out;
    do {
        unsigned char more = (groupBits == 7 && !out.empty()) ? 0x80 : 0;
        out.insert(out.begin(), static_cast<unsigned char>((value & ((1u << groupBits) - 1)) | more));
        value >>= groupBits;
    } while (value != 0);
    return out;
}

Bytes tlv(unsigned char tag, const Bytes& content) {
    Bytes out{tag};
    if (content.size() >= 0x80) {
        Bytes length = digits(content.size());
        out.push_back(static_cast<unsigned char>(0x80 | length.size()));
        append(out, length);
    } else {
        out.push_back(static_cast<unsigned char>(content.size()));
    }
    append(out, content);
    return out;
}

Bytes oidContent(const std::string& dotted) {
    std::vector<uint64_t> arcs;
    std::stringstream in(dotted);
    for (std::string piece; std::getline(in, piece, '.');) {
        if (!piece.empty()) {
            arcs.push_back(std::strtoull(piece.c_str(), nullptr, 10));
        }
    }
    Bytes out = digits(arcs[0] * 40 + arcs[1], 7);
    for (size_t i = 2; i < arcs.size(); ++i) {
        append(out, digits(arcs[i], 7));
    }
    return out;
}

Binding stringBinding(const std::string& oid, const std::string& text) { return {oid, 0x04, {text.begin(), text.end()}}; }

Binding integerBinding(const std::string& oid, uint32_t value) { return {oid, 0x02, digits(value)}; }

Bytes getResponse(const std::vector<Binding>& bindings, int errorStatus, const Bytes& rawBindings) {
    Bytes list, pdu, message = {0x02, 0x01, 0x01, 0x04, 0x06, 'o', 'p', 'e', 'n', 'c', 'm'};
    for (const Binding& b : bindings) {
        Bytes binding = tlv(0x06, oidContent(b.oid));
        append(binding, tlv(b.valueTag, b.value));
        append(list, tlv(0x30, binding));
    }
    append(list, rawBindings);
    pdu = {0x02, 0x01, 0x01, 0x02, 0x01, static_cast<unsigned char>(errorStatus), 0x02, 0x01, 0x00};
    append(pdu, tlv(0x30, list));
    append(message, tlv(0xA2, pdu));
    return tlv(0x30, message);
}

}  // namespace snmptest
