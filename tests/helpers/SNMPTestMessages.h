// Test helpers: BER encoding of SNMP GetResponse messages, independent of the codec under test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace snmptest {

using Bytes = std::vector<unsigned char>;

// Tag, BER length (short or long form), content.
Bytes tlv(unsigned char tag, const Bytes& content);
// Content bytes of an identifier in standard BER (first two arcs combined).
Bytes oidContent(const std::string& dotted);
// Content bytes of an unsigned number, most significant first, at least one byte.
Bytes unsignedContent(uint32_t value);
Bytes textBytes(const std::string& text);

struct Binding {
    std::string oid;
    unsigned char valueTag;
    Bytes value;  // content bytes of the value
};

Binding stringBinding(const std::string& oid, const std::string& text);
Binding integerBinding(const std::string& oid, uint32_t value);

// A whole GetResponse message (version 2c).
Bytes getResponse(const std::vector<Binding>& bindings, int errorStatus = 0, int requestId = 1,
                  const std::string& community = "opencm");

}  // namespace snmptest
