// Test helpers: BER encoding of SNMP GetResponse messages, independent of the codec under test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace snmptest {

using Bytes = std::vector<unsigned char>;

struct Binding {
    std::string oid;
    unsigned char valueTag;
    Bytes value;  // content bytes of the value
};

// Identifier content in standard BER (first two arcs combined).
Bytes oidContent(const std::string& dotted);
Binding stringBinding(const std::string& oid, const std::string& text);
Binding integerBinding(const std::string& oid, uint32_t value);
// A whole version-2c GetResponse message with community "opencm"; |rawBindings| are
// appended to the binding list as they stand.
Bytes getResponse(const std::vector<Binding>& bindings, int errorStatus = 0, const Bytes& rawBindings = {});

}  // namespace snmptest
