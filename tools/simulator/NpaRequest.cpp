// NpaRequest: one packet that a host sent to the printer, and what it asks for.
#include "NpaRequest.h"

#include "support/ByteCursor.h"

NpaRequest NpaRequest::classify(const std::string& packet) {
    NpaRequest request;
    request.bytes = packet;
    ByteCursor cursor(reinterpret_cast<const unsigned char*>(packet.data()), packet.size());
    uint8_t start = cursor.peek(0);
    uint8_t flags = cursor.peek(3);
    if (start != 0xA5 || packet.size() < 6) {
        return request;
    }
    if (flags == 0x80 && cursor.peek(4) == 0xA4 && cursor.peek(5) == 0x5B) {
        request.kind = kModeCommand;
    } else if (flags == 0x40) {
        request.kind = kLoopback;
    } else if (cursor.peek(4) == 0xE0 && cursor.peek(5) == 0x21 && cursor.peek(6) == 0x01) {
        // The supply query is the configuration query with a language byte and a selector.
        if (packet.size() >= 11 && cursor.peek(9) == 0x01 && cursor.peek(10) == 0x08) {
            request.kind = kSupplies;
            request.languageId = cursor.peek(8);
        } else {
            request.kind = kConfiguration;
        }
    } else if (cursor.peek(4) == 0x01 && cursor.peek(5) == 0x04) {
        request.kind = kOptions;
    }
    return request;
}

const char* NpaRequest::kindName(Kind kind) {
    switch (kind) {
        case kModeCommand: return "mode command";
        case kLoopback: return "loopback";
        case kConfiguration: return "configuration request";
        case kSupplies: return "supply request";
        case kOptions: return "option request";
        case kUnknown: break;
    }
    return "unknown request";
}
