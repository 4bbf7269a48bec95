// NPAResp: joins the packets of a multi-packet NPA answer into one packet.
#include "protocol/NPAResp.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/ByteCursor.h"
#include "support/Logger.h"

namespace {
constexpr unsigned char kStartOfPacket = 0xA5;
constexpr unsigned char kMorePackets = 0x20;
// Offsets and lengths of the joined answer are 16-bit: its length field has two bytes.
constexpr size_t kMaxJoinedSize = 0xFFFF;

// True when the byte at |at| plus |echoIndex| is held and equals |echoValue|.
bool echoMatches(const ByteCursor& input, size_t at, int echoIndex, unsigned int echoValue) {
    if (echoIndex < 0) {
        return false;
    }
    size_t index = at + static_cast<size_t>(echoIndex);
    return input.has(index, 1) && input.peek(index) == echoValue;
}
}  // namespace

NPAResp::NPAResp() = default;

NPAResp::~NPAResp() = default;

uint16_t NPAResp::swapByte(const ByteCursor& bytes, size_t offset) {
    return static_cast<uint16_t>((bytes.peek(offset) << 8) | bytes.peek(offset + 1));
}

int NPAResp::repackResponse(Data& out, unsigned int echoValue) {
    Logger logger("NPAResp", "repackResponse");

    std::list<int> keys;
    getKeys(keys);
    keys.sort();
    // A gap in the sequence numbers fails the whole answer; the pieces stay stored.
    if (keys.size() != getExpectedSequence()) {
        return -1;
    }
    const unsigned int maxSize = getMaxSize();
    if (maxSize == 0) {
        crearResponse();
        return -1;
    }

    std::vector<unsigned char> input(maxSize, 0);
    std::vector<unsigned char> output(maxSize, 0);
    size_t held = 0;
    for (int key : keys) {
        Data* piece = getValue(key);
        if (piece == nullptr || piece->size() <= 0 || piece->get() == nullptr) {
            continue;
        }
        logger.Log("Creating input buffer. Packet Size =%d, inputBufIndex=%d", piece->size(),
                   static_cast<int>(held));
        size_t take = std::min(static_cast<size_t>(piece->size()), input.size() - held);
        std::memcpy(input.data() + held, piece->get(), take);
        held += take;
    }

    // Device lengths are trusted only as far as the bytes really held: a length that
    // points past the input, past the 16-bit output or back onto a position already
    // walked joins the part that is held and fits, then ends the answer (result 0);
    // only a first packet left shorter than its own length field gives -1. Well-formed
    // answers never reach those limits and are joined byte for byte.
    ByteCursor in(input.data(), held);
    const int echoIndex = out.getErrorCheckingByte();
    const size_t headerSize = out.getHeaderSize() > 0 ? static_cast<size_t>(out.getHeaderSize()) : 0;
    const size_t outputLimit = std::min(output.size(), kMaxJoinedSize);
    size_t outLength = 0;
    // Appends up to |count| input bytes from |from|; false when fewer were appended.
    auto append = [&](size_t from, size_t count) {
        size_t available = from < held ? held - from : 0;
        size_t take = std::min({count, available, outputLimit - outLength});
        if (take > 0) {
            std::memcpy(output.data() + outLength, input.data() + from, take);
            outLength += take;
        }
        return take == count;
    };

    int result = 0;
    if (in.peek(0) != kStartOfPacket || !echoMatches(in, 0, echoIndex, echoValue)) {
        result = -1;
    } else {
        // The first packet is copied whole, header included.
        uint16_t size1 = static_cast<uint16_t>(swapByte(in, 1) + 3);
        bool complete = append(0, size1);
        logger.Log("----------------- Repacks done for 1st packet. Total Size1 =%d Continuity byte =%x",
                   size1, in.peek(static_cast<size_t>(size1) + 3));
        if (outLength < 3) {
            result = -1;
        }
        bool more = result == 0 && complete && (in.peek(3) & kMorePackets) != 0;
        uint16_t inIndex = size1;

        while (more) {
            logger.Log("repackResponse 1 ----- 0=%x, 1=%x, 2=%x, 5=%x, 6=%x", in.peek(inIndex),
                       in.peek(inIndex + 1u), in.peek(inIndex + 2u), in.peek(inIndex + 5u),
                       in.peek(inIndex + 6u));
            if (in.peek(inIndex) == kStartOfPacket && echoMatches(in, inIndex, echoIndex, echoValue)) {
                // The payload is the length minus flags and echo byte, which assumes a
                // 5-byte header; intended, the answers of every NPA command have one.
                uint16_t length = swapByte(in, inIndex + 1u);
                uint16_t payload = static_cast<uint16_t>(length - 2);
                bool copied = append(inIndex + headerSize, payload);
                uint16_t next = static_cast<uint16_t>(inIndex + headerSize + payload);
                more = copied && next > inIndex && (in.peek(inIndex + 3u) & kMorePackets) != 0;
                inIndex = next;
            } else {
                logger.Log("%s", "-----------------Setting FALSE ------\n");
                more = false;
            }
            logger.Log("----------------- Repacks done for another packet. Total Size1 =%d",
                       static_cast<int>(outLength));
        }

        if (result == 0) {
            size_t length = outLength - 3;
            output[1] = static_cast<unsigned char>(length >> 8);
            output[2] = static_cast<unsigned char>(length & 0xFF);
            logger.Log("Repacks done for all packets. Total Size1 =%d 0=%x 1=%x 2=%x",
                       static_cast<int>(outLength), output[0], output[1], output[2]);
            out.assign(output.data(), static_cast<int>(outLength));
        }
    }

    logger.Log("repackResponse done. Buffer Size=%d", static_cast<int>(maxSize));
    crearResponse();
    return result;
}
