// ScriptedSideChannel: a backend peer that answers side-channel requests on fd 4 from a script.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "helpers/FdSlot.h"
#include "helpers/PeerProcess.h"

namespace cfftest {

// An object of the scripted device, as the backend reports it: numeric OID and value text.
struct SnmpObject {
    std::string oid;
    std::string value;
};

// One request the peer received: the command code and its data.
struct SideChannelRequest {
    int command = 0;
    std::string data;
};

// Places one end of a socketpair on fd 4 of this process, as cupsd gives it to a filter,
// and starts a child that serves the other end with cupsSideChannelRead/Write:
// - SNMP_GET_NEXT answers the first object whose OID sorts after the requested one
//   (numerically, arc by arc) with "oid\0value"; past the last object it answers the OID
//   "0" with no value, which ends any walk cleanly.
// - SNMP_GET answers the object with exactly that OID, or NO_RESPONSE.
// - Every other command answers with no data.
// The status of each answer is statuses[command] when given, else OK. The previous fd 4
// comes back with stop() or the destructor.
//
//   cfftest::ScriptedSideChannel peer({{{"1.3.6.1.2.1.43.11.1.1.9.1.1", "42"}}});
//   ... code under test walks "1.3.6.1.2.1.43.11.1.1.9" ...
//   auto requests = peer.stop();
class ScriptedSideChannel {
public:
    struct Script {
        std::vector<SnmpObject> objects;
        std::map<int, int> statuses;
        // Pause before every answer (to make the code under test time out).
        int replyDelayMs = 0;
    };

    explicit ScriptedSideChannel(Script script);
    ~ScriptedSideChannel();
    ScriptedSideChannel(const ScriptedSideChannel&) = delete;
    ScriptedSideChannel& operator=(const ScriptedSideChannel&) = delete;

    // True when the socket is on fd 4 and the peer runs.
    bool ok() const { return ok_; }
    // Ends the peer, restores fd 4 and returns the requests it received, in order.
    // Later calls return the same.
    std::vector<SideChannelRequest> stop();

private:
    FdSlot slot_;
    PeerProcess peer_;
    int report_ = -1;
    bool ok_ = false;
    bool stopped_ = false;
    std::vector<SideChannelRequest> requests_;
};

// True when OID |a| sorts before OID |b|, comparing the dotted numbers arc by arc.
bool oidLess(const std::string& a, const std::string& b);

}  // namespace cfftest
