// SNMPDataPacket: the small BER codec for SNMP GetRequest messages and their GetResponse.
#include "protocol/SNMPDataPacket.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "support/Logger.h"

namespace {

// Renders |value| with "%d" into a 5-byte buffer. Texts of five or more characters are
// cut to their first four; this width is intended, and both identifier texts and
// integer keys depend on it.
std::string renderFourDigits(int value) {
    char text[5] = {0};
    std::snprintf(text, sizeof(text), "%d", value);
    return std::string(text);
}

void append(std::vector<unsigned char>& buffer, const std::vector<unsigned char>& bytes) {
    buffer.insert(buffer.end(), bytes.begin(), bytes.end());
}

}  // namespace

// ---------------------------------------------------------------------------------------
// Building

int SNMPDataPacket::createPDUGetRequest(int requestId, const std::list<std::string>& oids, Data& pdu) {
    Logger logger("SNMPDataPacket", "createPDUGetRequest");
    try {
        std::vector<unsigned char> requestInfo;
        addRequestInfo(requestInfo, requestId);
        std::vector<unsigned char> bindings;
        if (addSequenceList(bindings, oids) == 0) {
            logger.Log("%s", "Variable bindings do not fit in the request");
            return 0;
        }
        std::vector<unsigned char> bytes;
        bytes.push_back(kTagGetRequest);
        addVariableLengthSize(bytes, static_cast<unsigned int>(bindings.size() + requestInfo.size()));
        append(bytes, requestInfo);
        append(bytes, bindings);
        pdu.assign(bytes.data(), static_cast<int>(bytes.size()));
        return static_cast<int>(bytes.size());
    } catch (const std::exception&) {
        return 0;
    }
}

int SNMPDataPacket::getSNMPPacket(Data* pdu, int version, const std::string& community, Data& message) {
    Logger logger("SNMPDataPacket", "getSNMPPacket");
    if (pdu == nullptr || pdu->size() <= 0 || pdu->get() == nullptr) {
        return 0;
    }
    try {
        std::vector<unsigned char> packetInfo;
        addSnmpPacketInfo(packetInfo, version, community);
        std::vector<unsigned char> bytes;
        bytes.push_back(kTagSequence);
        addVariableLengthSize(bytes, static_cast<unsigned int>(packetInfo.size()) +
                                         static_cast<unsigned int>(pdu->size()));
        append(bytes, packetInfo);
        bytes.insert(bytes.end(), pdu->get(), pdu->get() + pdu->size());
        message.assign(bytes.data(), static_cast<int>(bytes.size()));
        return static_cast<int>(bytes.size());
    } catch (const std::exception&) {
        return 0;
    }
}

int SNMPDataPacket::addSnmpPacketInfo(std::vector<unsigned char>& buffer, int version,
                                      const std::string& community) {
    int written = addSNMPVersionInfo(buffer, version);
    return written + addSNMPCommunityString(buffer, community);
}

int SNMPDataPacket::addSNMPVersionInfo(std::vector<unsigned char>& buffer, int version) {
    return addIntigerInfo(buffer, version);
}

int SNMPDataPacket::addSNMPCommunityString(std::vector<unsigned char>& buffer, const std::string& community) {
    // The length travels in one byte, without the long form; communities are short.
    buffer.push_back(kTagOctetString);
    buffer.push_back(static_cast<unsigned char>(community.size() & 0xFF));
    buffer.insert(buffer.end(), community.begin(), community.end());
    return static_cast<int>(community.size()) + 2;
}

int SNMPDataPacket::addIntigerInfo(std::vector<unsigned char>& buffer, int value) {
    // One content byte only: the request id travels as its low 8 bits, and a value of
    // 128 or more goes out as that byte whatever its sign in BER. Intended.
    buffer.push_back(kTagInteger);
    buffer.push_back(0x01);
    buffer.push_back(static_cast<unsigned char>(value & 0xFF));
    return 3;
}

int SNMPDataPacket::addRequestInfo(std::vector<unsigned char>& buffer, int requestId) {
    int written = addIntigerInfo(buffer, requestId);
    written += addIntigerInfo(buffer, 0);  // error status
    written += addIntigerInfo(buffer, 0);  // error index
    return written;
}

int SNMPDataPacket::addSequenceList(std::vector<unsigned char>& buffer, const std::list<std::string>& oids) {
    std::vector<unsigned char> bindings;
    for (const std::string& oid : oids) {
        addSequence(bindings, oid);
        if (bindings.size() > kBindingAreaSize) {
            return 0;
        }
    }
    size_t before = buffer.size();
    buffer.push_back(kTagSequence);
    addVariableLengthSize(buffer, static_cast<unsigned int>(bindings.size()));
    append(buffer, bindings);
    return static_cast<int>(buffer.size() - before);
}

int SNMPDataPacket::addSequence(std::vector<unsigned char>& buffer, const std::string& oid) {
    std::vector<unsigned char> element;
    size_t before = buffer.size();
    buffer.push_back(kTagSequence);
    if (addOID(element, oid) == 0) {
        buffer.push_back(0x00);
        return 2;
    }
    addVariableLengthSize(buffer, static_cast<unsigned int>(element.size() + 2));
    append(buffer, element);
    addNullValue(buffer);
    return static_cast<int>(buffer.size() - before);
}

int SNMPDataPacket::addOID(std::vector<unsigned char>& buffer, const std::string& oid) {
    std::vector<unsigned char> arcs;
    size_t start = 0;
    bool anyArc = false;
    while (start <= oid.size()) {
        size_t dot = oid.find('.', start);
        if (dot == std::string::npos) {
            dot = oid.size();
        }
        std::string piece = oid.substr(start, dot - start);
        if (!piece.empty()) {
            long long arc = std::strtoll(piece.c_str(), nullptr, 10);
            addVariableLengthDataValue(arcs, static_cast<unsigned int>(arc));
            anyArc = true;
        }
        start = dot + 1;
    }
    if (!anyArc) {
        return 0;
    }
    // The first two arcs always go out as 0x2B (1.3): their encodings are dropped on
    // the assumption that they are one byte each, and the length is the arc bytes less
    // one. Every identifier sent begins with 1.3.
    std::vector<unsigned char> content;
    content.push_back(0x2B);
    if (arcs.size() > 2) {
        content.insert(content.end(), arcs.begin() + 2, arcs.end());
    }
    size_t before = buffer.size();
    buffer.push_back(kTagObjectIdentifier);
    addVariableLengthSize(buffer, static_cast<unsigned int>(arcs.size() - 1));
    append(buffer, content);
    return static_cast<int>(buffer.size() - before);
}

int SNMPDataPacket::addNullValue(std::vector<unsigned char>& buffer) {
    buffer.push_back(kTagNull);
    buffer.push_back(0x00);
    return 2;
}

int SNMPDataPacket::addVariableLengthSize(std::vector<unsigned char>& buffer, unsigned int length) {
    if (length < 128) {
        buffer.push_back(static_cast<unsigned char>(length));
        return 1;
    }
    unsigned char bytes[4];
    int count = 0;
    for (int shift = 24; shift >= 0; shift -= 8) {
        unsigned char byte = static_cast<unsigned char>((length >> shift) & 0xFF);
        if (count == 0 && byte == 0) {
            continue;
        }
        bytes[count++] = byte;
    }
    buffer.push_back(static_cast<unsigned char>(0x80 + count));
    buffer.insert(buffer.end(), bytes, bytes + count);
    return 1 + count;
}

int SNMPDataPacket::addVariableLengthDataValue(std::vector<unsigned char>& buffer, unsigned int value) {
    unsigned char groups[5];
    int count = 0;
    do {
        groups[count++] = static_cast<unsigned char>(value & 0x7F);
        value >>= 7;
    } while (value != 0);
    for (int i = count - 1; i >= 0; --i) {
        buffer.push_back(i > 0 ? static_cast<unsigned char>(groups[i] | 0x80) : groups[i]);
    }
    return count;
}

// ---------------------------------------------------------------------------------------
// Decoding. Every byte is read through a ByteCursor bounded by the received message, so
// lengths that lie about the buffer end the decode instead of reading outside it.

int SNMPDataPacket::parsePDUGetResponse(const unsigned char* message, int length) {
    Logger logger("SNMPDataPacket", "parsePDUGetResponse");
    ByteCursor cursor(message, length > 0 ? static_cast<size_t>(length) : 0);
    if (cursor.atEnd() || cursor.peek() != kTagSequence) {
        return 0;
    }
    cursor.skip(1);
    getVariableLengthSize(cursor);  // message length: the buffer bounds the decode
    skipPacketInfo(cursor);
    if (cursor.peek() != kTagGetResponse) {
        return 0;
    }
    cursor.skip(1);
    getVariableLengthSize(cursor);  // PDU length

    int requestId = -1;
    int errorStatus = -1;
    int errorIndex = -1;
    readRequestInfo(cursor, requestId, errorStatus, errorIndex);
    if (errorStatus != 0 || cursor.peek() != kTagSequence) {
        return 0;
    }
    cursor.skip(1);
    unsigned int listLength = getVariableLengthSize(cursor);
    if (cursor.pastEnd()) {
        return 0;
    }
    ByteCursor list = cursor.window(listLength);
    size_t consumed = 0;
    while (consumed < listLength && !list.atEnd()) {
        size_t used = parseOIDValue(list, responseTable_);
        if (used == 0) {
            break;
        }
        consumed += used;
    }
    return 0;
}

size_t SNMPDataPacket::parseOIDValue(ByteCursor& cursor, std::map<std::string, std::string>& table) {
    Logger logger("SNMPDataPacket", "parseOIDValue");
    size_t start = cursor.position();
    uint8_t tag = 0;
    if (!cursor.readByte(tag)) {
        return 0;
    }
    unsigned int bindingLength = getVariableLengthSize(cursor);
    // The binding is skipped by its own encoded length, whatever it holds, so that a
    // value of another type (NULL, noSuchObject, a counter, an identifier) keeps the
    // following bindings in step. For INTEGER and OCTET STRING bindings this is the
    // identifier length + 4 plus the value length + 2 that the element sizes add up to.
    ByteCursor binding = cursor.window(bindingLength);
    cursor.skip(bindingLength);
    size_t used = cursor.position() - start;

    if (binding.peek() != kTagObjectIdentifier) {
        return used;
    }
    binding.skip(1);
    unsigned int oidLength = getVariableLengthSize(binding) & 0xFF;
    ByteCursor identifier = binding.window(oidLength);
    if (!binding.skip(oidLength)) {
        return used;
    }
    // The first content byte stands for 1.3; it is not looked at.
    std::string oid = ".1.3";
    identifier.skip(1);
    while (!identifier.atEnd()) {
        unsigned int arc = getVariableLengthDataValue(identifier);
        if (identifier.pastEnd()) {
            break;
        }
        oid += "." + renderFourDigits(static_cast<int>(arc));
    }

    uint8_t valueTag = binding.peek();
    if (binding.atEnd()) {
        return used;
    }
    if (valueTag == kTagInteger) {
        int value = getIntegerData(binding);
        if (!binding.pastEnd()) {
            table[renderFourDigits(value)] = oid;
        }
    } else if (valueTag == kTagOctetString) {
        std::string value = getStringData(binding);
        if (!binding.pastEnd()) {
            table[value] = oid;
            logger.Log("Oid =%s, Value=%s", oid.c_str(), value.c_str());
        }
    }
    return used;
}

unsigned int SNMPDataPacket::getVariableLengthSize(ByteCursor& cursor) {
    uint8_t first = 0;
    if (!cursor.readByte(first)) {
        return 0;
    }
    if (first >= 0x81) {
        // Four-bit mask on the count, and 0x80 falls through as the length 128: both
        // intended, well-formed answers never use either case.
        size_t count = first & 0x0F;
        return static_cast<unsigned int>(cursor.readBigEndian(count));
    }
    return first;
}

void SNMPDataPacket::skipToNextElement(ByteCursor& cursor) {
    size_t length = cursor.peek(1);
    cursor.skip(length + 2);
}

int SNMPDataPacket::getIntegerData(ByteCursor& cursor) {
    cursor.skip(1);
    uint8_t length = 0;
    cursor.readByte(length);
    unsigned int value = data2Integer(cursor, 0, length);
    cursor.skip(length);
    return static_cast<int>(value);
}

std::string SNMPDataPacket::getStringData(ByteCursor& cursor) {
    cursor.skip(1);
    uint8_t length = 0;
    cursor.readByte(length);
    std::string value = cursor.readText(length);
    size_t zero = value.find('\0');
    if (zero != std::string::npos) {
        value.resize(zero);
    }
    return value;
}

unsigned int SNMPDataPacket::getVariableLengthDataValue(ByteCursor& cursor) {
    uint8_t byte = 0;
    if (!cursor.readByte(byte)) {
        return 0;
    }
    unsigned int value = byte & 0x7F;
    while ((byte & 0x80) != 0) {
        if (!cursor.readByte(byte)) {
            break;
        }
        value = (value << 7) + (byte & 0x7F);
    }
    return value;
}

unsigned int SNMPDataPacket::data2Integer(const ByteCursor& cursor, size_t offset, int count) {
    if (count < 1) {
        return 0;
    }
    return static_cast<unsigned int>(cursor.peekBigEndian(offset, static_cast<size_t>(count)));
}

void SNMPDataPacket::skipPacketInfo(ByteCursor& cursor) {
    if (cursor.peek() == kTagInteger) {
        skipToNextElement(cursor);
    }
    if (cursor.peek() == kTagOctetString) {
        skipToNextElement(cursor);
    }
}

void SNMPDataPacket::readRequestInfo(ByteCursor& cursor, int& requestId, int& errorStatus, int& errorIndex) {
    if (cursor.atEnd() || cursor.peek() != kTagInteger) {
        return;
    }
    requestId = getIntegerData(cursor);
    if (cursor.atEnd() || cursor.peek() != kTagInteger) {
        return;
    }
    errorStatus = getIntegerData(cursor);
    if (cursor.atEnd() || cursor.peek() != kTagInteger) {
        return;
    }
    errorIndex = getIntegerData(cursor);
}

// ---------------------------------------------------------------------------------------
// Queries

bool SNMPDataPacket::getOIDValue(const std::string& key, std::string& oid) const {
    oid.clear();
    if (responseTable_.empty()) {
        return false;
    }
    auto it = responseTable_.find(key);
    if (it == responseTable_.end()) {
        return false;
    }
    oid = it->second;
    return !oid.empty();
}

int SNMPDataPacket::getOptionAvailability(const std::string& key) const {
    if (responseTable_.empty()) {
        return -1;
    }
    return responseTable_.count(key) != 0 ? 1 : 0;
}

bool SNMPDataPacket::getRequestInfo(const unsigned char* message, int length, int& requestId,
                                    int& errorStatus, int& errorIndex) const {
    requestId = -1;
    errorStatus = -1;
    errorIndex = -1;
    ByteCursor cursor(message, length > 0 ? static_cast<size_t>(length) : 0);
    if (cursor.atEnd() || cursor.peek() != kTagSequence) {
        return false;
    }
    cursor.skip(1);
    getVariableLengthSize(cursor);
    skipPacketInfo(cursor);
    if (cursor.atEnd() || cursor.peek() != kTagGetResponse) {
        return false;
    }
    cursor.skip(1);
    getVariableLengthSize(cursor);
    readRequestInfo(cursor, requestId, errorStatus, errorIndex);
    return true;
}

bool SNMPDataPacket::getSnmpPacketInfo(const unsigned char* message, int length, int& version,
                                       std::string& community) const {
    version = -1;
    community.clear();
    ByteCursor cursor(message, length > 0 ? static_cast<size_t>(length) : 0);
    if (cursor.atEnd() || cursor.peek() != kTagSequence) {
        return false;
    }
    cursor.skip(1);
    getVariableLengthSize(cursor);
    if (cursor.peek() == kTagInteger) {
        version = getIntegerData(cursor);
    }
    if (cursor.peek() == kTagOctetString) {
        community = getStringData(cursor);
    }
    return true;
}
