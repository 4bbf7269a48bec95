// Test helpers: BER encoding of SNMP GetResponse messages, independent of the codec under test.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace snmptest {

using Bytes = std::vector<unsigned char>;

struct Binding {
    std::string oid;
    unsigned char valueTag;
    Bytes value;  // content bytes of the value
};

inline Bytes operator+(Bytes out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
    return out;
}

// Big-endian bytes of |value| without leading zeros; |groupBits| 7 gives base-128 arcs.
inline Bytes digits(uint64_t value, int groupBits = 8) {
    Bytes out;
    do {
        unsigned char more = (groupBits == 7 && !out.empty()) ? 0x80 : 0;
        out.insert(out.begin(), static_cast<unsigned char>((value & ((1u << groupBits) - 1)) | more));
        value >>= groupBits;
    } while (value != 0);
    return out;
}

// Tag, BER length (short or long form), content.
inline Bytes tlv(unsigned char tag, const Bytes& content) {
    Bytes length = digits(content.size());
    if (content.size() >= 0x80) length.insert(length.begin(), static_cast<unsigned char>(0x80 | length.size()));
    return Bytes{tag} + length + content;
}

// Identifier content in standard BER (first two arcs combined).
inline Bytes oidContent(const std::string& dotted) {
    std::vector<uint64_t> arcs;
    for (const char* at = dotted.c_str(); *at != '\0';) {
        char* end;
        uint64_t arc = std::strtoull(at, &end, 10);
        if (end != at) arcs.push_back(arc);
        at = end != at ? end : at + 1;
    }
    Bytes out = digits(arcs[0] * 40 + arcs[1], 7);
    for (size_t i = 2; i < arcs.size(); ++i) out = out + digits(arcs[i], 7);
    return out;
}

inline Binding stringBinding(const std::string& oid, const std::string& text) {
    return {oid, 0x04, {text.begin(), text.end()}};
}
inline Binding integerBinding(const std::string& oid, uint32_t value) { return {oid, 0x02, digits(value)}; }

// A version-2c GetResponse with community "opencm"; |rawBindings| end the binding list as they are.
inline Bytes getResponse(const std::vector<Binding>& bindings, int errorStatus = 0, const Bytes& rawBindings = {}) {
    Bytes list;
    for (const Binding& b : bindings) list = list + tlv(0x30, tlv(0x06, oidContent(b.oid)) + tlv(b.valueTag, b.value));
    Bytes pdu = {0x02, 0x01, 0x01, 0x02, 0x01, static_cast<unsigned char>(errorStatus), 0x02, 0x01, 0x00};
    Bytes header = {0x02, 0x01, 0x01, 0x04, 0x06, 'o', 'p', 'e', 'n', 'c', 'm'};
    return tlv(0x30, header + tlv(0xA2, pdu + tlv(0x30, list + rawBindings)));
}

}  // namespace snmptest
