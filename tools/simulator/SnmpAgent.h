// SnmpAgent: answers SNMP GetRequest and GetNextRequest messages from a MIB view.
#pragma once

#include <string>

#include "DeviceProfile.h"
#include "MibView.h"

class SnmpAgent {
public:
    SnmpAgent(const DeviceProfile& profile, const MibView& view) : profile_(profile), view_(view) {}

    // Answers one datagram. Returns true with |reply| set, or false when the datagram is
    // dropped: not a request, malformed, or carrying a community other than the profile's.
    bool handle(const unsigned char* bytes, size_t size, std::string& reply) const;

private:
    const DeviceProfile& profile_;
    const MibView& view_;
};
