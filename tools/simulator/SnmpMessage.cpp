// SnmpMessage: the agent's side of SNMP v1/v2c messages: requests decoded, responses encoded.
#include "SnmpMessage.h"

#include "support/ByteCursor.h"

namespace {

// Reads one tag and its length; false when the length is malformed or overruns the cursor.
bool readHeader(ByteCursor& cursor, uint8_t& tag, size_t& length) {
    uint8_t first = 0;
    if (!cursor.readByte(tag) || !cursor.readByte(first)) {
        return false;
    }
    if (first < 0x80) {
        length = first;
    } else {
        size_t count = first & 0x7F;
        if (count == 0 || count > 4) {
            return false;
        }
        length = static_cast<size_t>(cursor.readBigEndian(count));
        if (cursor.pastEnd()) {
            return false;
        }
    }
    return length <= cursor.remaining();
}

// A signed BER integer of at most 8 content bytes.
bool readInteger(ByteCursor& cursor, long& value) {
    uint8_t tag = 0;
    size_t length = 0;
    if (!readHeader(cursor, tag, length) || tag != 0x02 || length == 0 || length > 8) {
        return false;
    }
    uint8_t first = cursor.peek(0);
    uint64_t raw = cursor.readBigEndian(length);
    if (length < 8 && (first & 0x80)) {
        raw |= ~uint64_t(0) << (8 * length);
    }
    value = static_cast<long>(raw);
    return true;
}

bool readOid(ByteCursor& cursor, MibView::Oid& oid) {
    uint8_t tag = 0;
    size_t length = 0;
    if (!readHeader(cursor, tag, length) || tag != 0x06 || length == 0) {
        return false;
    }
    ByteCursor content = cursor.window(length);
    cursor.skip(length);
    oid.clear();
    uint8_t first = 0;
    content.readByte(first);
    oid.push_back(first < 80 ? first / 40 : 2);
    oid.push_back(first < 80 ? first % 40 : first - 80);
    while (!content.atEnd()) {
        uint64_t arc = 0;
        uint8_t byte = 0;
        do {
            if (!content.readByte(byte)) {
                return false;  // the last arc is cut off
            }
            arc = (arc << 7) | (byte & 0x7F);
        } while (byte & 0x80);
        if (arc > 0xFFFFFFFFULL) {
            return false;
        }
        oid.push_back(static_cast<uint32_t>(arc));
    }
    return true;
}

std::string element(unsigned char tag, const std::string& content) {
    return std::string(1, static_cast<char>(tag)) + SnmpMessage::encodeLength(content.size()) + content;
}

}  // namespace

std::string SnmpMessage::encodeLength(size_t length) {
    if (length < 0x80) {
        return std::string(1, static_cast<char>(length));
    }
    std::string bytes;
    for (size_t value = length; value != 0; value >>= 8) {
        bytes.insert(bytes.begin(), static_cast<char>(value & 0xFF));
    }
    return std::string(1, static_cast<char>(0x80 | bytes.size())) + bytes;
}

std::string SnmpMessage::encodeInteger(unsigned char tag, long value) {
    std::string content;
    if (tag == SnmpVarBind::kCounter) {
        // Unsigned: a leading zero keeps values with the top bit set positive.
        unsigned long u = static_cast<unsigned long>(value) & 0xFFFFFFFFUL;
        do {
            content.insert(content.begin(), static_cast<char>(u & 0xFF));
            u >>= 8;
        } while (u != 0);
        if (static_cast<unsigned char>(content[0]) & 0x80) {
            content.insert(content.begin(), '\0');
        }
    } else {
        // Minimal two's complement.
        long v = value;
        for (;;) {
            content.insert(content.begin(), static_cast<char>(v & 0xFF));
            long rest = v >> 8;
            bool signBit = (v & 0x80) != 0;
            if ((rest == 0 && !signBit) || (rest == -1 && signBit)) {
                break;
            }
            v = rest;
        }
    }
    return element(tag, content);
}

std::string SnmpMessage::encodeOid(const MibView::Oid& oid) {
    std::string content;
    if (oid.size() >= 2) {
        content.push_back(static_cast<char>(oid[0] * 40 + oid[1]));
    }
    for (size_t i = 2; i < oid.size(); ++i) {
        std::string arc;
        uint32_t value = oid[i];
        arc.insert(arc.begin(), static_cast<char>(value & 0x7F));
        for (value >>= 7; value != 0; value >>= 7) {
            arc.insert(arc.begin(), static_cast<char>(0x80 | (value & 0x7F)));
        }
        content += arc;
    }
    return element(0x06, content);
}

int SnmpMessage::decode(const unsigned char* bytes, size_t size) {
    ByteCursor cursor(bytes, size);
    uint8_t tag = 0;
    size_t length = 0;
    if (!readHeader(cursor, tag, length) || tag != 0x30) {
        return -1;
    }
    ByteCursor message = cursor.window(length);
    if (!readInteger(message, version) || (version != 0 && version != 1)) {
        return -1;
    }
    if (!readHeader(message, tag, length) || tag != 0x04) {
        return -1;
    }
    community = message.readText(length);
    if (!readHeader(message, tag, length) || (tag != kGetRequest && tag != kGetNextRequest && tag != kGetResponse)) {
        return -1;
    }
    pduType = tag;
    ByteCursor pdu = message.window(length);
    if (!readInteger(pdu, requestId) || !readInteger(pdu, errorStatus) || !readInteger(pdu, errorIndex)) {
        return -1;
    }
    if (!readHeader(pdu, tag, length) || tag != 0x30) {
        return -1;
    }
    ByteCursor list = pdu.window(length);
    bindings.clear();
    while (!list.atEnd()) {
        if (!readHeader(list, tag, length) || tag != 0x30) {
            return -1;
        }
        ByteCursor binding = list.window(length);
        list.skip(length);
        SnmpVarBind bind;
        if (!readOid(binding, bind.oid)) {
            return -1;
        }
        if (!readHeader(binding, tag, length)) {
            return -1;
        }
        bind.tag = static_cast<SnmpVarBind::Tag>(tag);
        if (tag == SnmpVarBind::kOctetString) {
            bind.text = binding.readText(length);
        } else if ((tag == SnmpVarBind::kInteger || tag == SnmpVarBind::kCounter) && length >= 1 && length <= 8) {
            uint8_t first = binding.peek(0);
            uint64_t raw = binding.readBigEndian(length);
            if (tag == SnmpVarBind::kInteger && length < 8 && (first & 0x80)) {
                raw |= ~uint64_t(0) << (8 * length);
            }
            bind.number = static_cast<long>(raw);
        } else {
            binding.skip(length);
        }
        bindings.push_back(bind);
    }
    return 0;
}

std::string SnmpMessage::encode() const {
    std::string list;
    for (const SnmpVarBind& bind : bindings) {
        std::string value;
        switch (bind.tag) {
            case SnmpVarBind::kInteger:
            case SnmpVarBind::kCounter:
                // Content bytes given for a number go out as they are, as some agents write them.
                value = bind.text.empty() ? encodeInteger(bind.tag, bind.number) : element(bind.tag, bind.text);
                break;
            default:
                value = element(bind.tag, bind.text);
                break;
        }
        list += element(0x30, encodeOid(bind.oid) + value);
    }
    std::string pdu = encodeInteger(0x02, requestId) + encodeInteger(0x02, errorStatus) +
                      encodeInteger(0x02, errorIndex) + element(0x30, list);
    std::string body = encodeInteger(0x02, version) + element(0x04, community) + element(pduType, pdu);
    return element(0x30, body);
}
