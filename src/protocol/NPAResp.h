// NPAResp: joins the packets of a multi-packet NPA answer into one packet.
#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/Response.h"

class ByteCursor;

class NPAResp : public Response {
public:
    // Most packets (or reads) one answer may take before it is treated as ended.
    static constexpr unsigned int kMaxAnswerPackets = 4096;
    // Most bytes one answer may accumulate before it is treated as ended.
    static constexpr unsigned int kMaxAnswerBytes = 1024 * 1024;

    NPAResp();
    ~NPAResp() override;

    // Joins the stored packets, in sequence order, into one packet in |out|: the first
    // packet whole, then the payload of each continuation packet, with the length field
    // rewritten to cover them all. Uses |out|'s error-checking offset and header size.
    // Returns 0, or -1 when a sequence number is missing, nothing is held, or the first
    // packet does not start with 0xA5 and the echo byte |echoValue| (or is cut off
    // before its length field ends).
    int repackResponse(Data& out, unsigned int echoValue) override;

    // The big-endian 16-bit value at |offset|; bytes outside the buffer count as 0.
    static uint16_t swapByte(const ByteCursor& bytes, size_t offset);
};
