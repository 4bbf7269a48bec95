// ScriptedSideChannel: a backend peer that answers side-channel requests on fd 4 from a script.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "helpers/FdSlot.h"
#include "helpers/PeerProcess.h"

namespace cfftest {

struct SnmpObject {
    std::string oid, value;
};

struct SideChannelRequest {
    int command = 0;
    std::string data;
};

// Places one end of a socketpair on fd 4, as cupsd gives it to a filter, and serves the other
// end from a child with cupsSideChannelRead/Write: SNMP_GET_NEXT answers "oid\0value" of the
// first object whose OID sorts after the requested one (arc by arc), or OID "0" past the last
// one, which ends a walk; every other command gets no data. Each answer's status is
// statuses[command] when given, else OK. stop() or the destructor restores fd 4.
class ScriptedSideChannel {
public:
    struct Script {
        std::vector<SnmpObject> objects;
        std::map<int, int> statuses;
        int replyDelayMs = 0;  // pause before every answer
    };

    explicit ScriptedSideChannel(Script script);
    ~ScriptedSideChannel() { stop(); }
    ScriptedSideChannel(const ScriptedSideChannel&) = delete;
    ScriptedSideChannel& operator=(const ScriptedSideChannel&) = delete;

    bool ok() const { return ok_; }
    // Ends the peer, restores fd 4 and returns the requests received, in order.
    std::vector<SideChannelRequest> stop();

private:
    FdSlot slot_;
    PeerProcess peer_;
    int report_ = -1;
    bool ok_ = false;
    bool stopped_ = false;
    std::vector<SideChannelRequest> requests_;
};

}  // namespace cfftest
