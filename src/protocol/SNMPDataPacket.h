// SNMPDataPacket: the small BER codec for SNMP GetRequest messages and their GetResponse.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "core/Data.h"
#include "support/ByteCursor.h"

// Builds GetRequest PDUs and whole messages, and decodes a GetResponse into a table
// keyed by the returned value (rendered as text) whose entries hold the dotted
// identifier that carried the value. The configuration parser asks whether the printer
// reported a given name, hence the table is keyed by value.
class SNMPDataPacket {
public:
    // Element tags used by the messages.
    static constexpr unsigned char kTagInteger = 0x02;
    static constexpr unsigned char kTagOctetString = 0x04;
    static constexpr unsigned char kTagNull = 0x05;
    static constexpr unsigned char kTagObjectIdentifier = 0x06;
    static constexpr unsigned char kTagSequence = 0x30;
    static constexpr unsigned char kTagGetRequest = 0xA0;
    static constexpr unsigned char kTagGetResponse = 0xA2;

    // The variable bindings of one request must fit in this working area.
    static constexpr size_t kBindingAreaSize = 4096;

    SNMPDataPacket() = default;

    // Builds the GetRequest PDU (tag 0xA0 to the end of the binding list) for |oids|
    // into |pdu|. Returns its size, or 0 on failure with |pdu| left unset.
    int createPDUGetRequest(int requestId, const std::list<std::string>& oids, Data& pdu);
    // Wraps |pdu| into a whole message with |version| and |community|. Returns its size,
    // or 0 when the PDU is empty or on failure.
    int getSNMPPacket(Data* pdu, int version, const std::string& community, Data& message);
    // Decodes a GetResponse message into the response table. Always returns 0; a
    // message that is malformed, truncated or reports an error leaves what it could
    // decode (usually nothing).
    int parsePDUGetResponse(const unsigned char* message, int length);

    // Sets |oid| to the identifier that returned the value |key|; false when the table
    // is empty, the key is missing or its identifier is empty.
    bool getOIDValue(const std::string& key, std::string& oid) const;
    // -1 when the table is empty, 1 when |key| is in it, 0 otherwise.
    int getOptionAvailability(const std::string& key) const;
    // Header readers: request id, error status and error index (each -1 when absent);
    // false unless the message is a GetResponse.
    bool getRequestInfo(const unsigned char* message, int length, int& requestId, int& errorStatus,
                        int& errorIndex) const;
    // Version (-1 when absent) and community; false unless the message starts with 0x30.
    bool getSnmpPacketInfo(const unsigned char* message, int length, int& version,
                           std::string& community) const;

    const std::map<std::string, std::string>& getResponseTable() const { return responseTable_; }

    // Writing blocks: each appends to |buffer| and returns the number of bytes written.
    // Version and community: 0x02 0x01 v 0x04 len community.
    static int addSnmpPacketInfo(std::vector<unsigned char>& buffer, int version,
                                 const std::string& community);
    // 0x02 0x01 v.
    static int addSNMPVersionInfo(std::vector<unsigned char>& buffer, int version);
    // 0x04, one length byte (low 8 bits of the length), the bytes.
    static int addSNMPCommunityString(std::vector<unsigned char>& buffer, const std::string& community);
    // 0x02 0x01 and the low 8 bits of |value|: one content byte, whatever its sign in BER.
    static int addIntigerInfo(std::vector<unsigned char>& buffer, int value);
    // Request id, error status 0, error index 0: 9 bytes.
    static int addRequestInfo(std::vector<unsigned char>& buffer, int requestId);
    // 0x30, BER length, one binding per identifier in list order; 0 when the bindings
    // do not fit in the working area.
    static int addSequenceList(std::vector<unsigned char>& buffer, const std::list<std::string>& oids);
    // One binding: 0x30, BER length, identifier element, 0x05 0x00; 0x30 0x00 for an
    // identifier without arcs.
    static int addSequence(std::vector<unsigned char>& buffer, const std::string& oid);
    // Identifier element: 0x06, BER length, 0x2B, the third and later arcs in base 128.
    // 0 when the text holds no arcs.
    static int addOID(std::vector<unsigned char>& buffer, const std::string& oid);
    // 0x05 0x00.
    static int addNullValue(std::vector<unsigned char>& buffer);
    // BER length: short form below 128, else 0x80 + count and the significant bytes.
    static int addVariableLengthSize(std::vector<unsigned char>& buffer, unsigned int length);
    // One arc in base 128, most significant group first.
    static int addVariableLengthDataValue(std::vector<unsigned char>& buffer, unsigned int value);

    // Reading blocks: each reads at the cursor's position and moves it.
    // BER length. A first byte of 0x81 or more gives the count of length bytes through a
    // four-bit mask; any smaller byte, 0x80 included, is the length itself.
    static unsigned int getVariableLengthSize(ByteCursor& cursor);
    // Moves past one element whose length is the single byte after its tag.
    static void skipToNextElement(ByteCursor& cursor);
    // INTEGER with a single length byte: content added up unsigned, most significant
    // first, into 32 bits (0xFF reads as 255).
    static int getIntegerData(ByteCursor& cursor);
    // OCTET STRING with a single length byte; the value ends at the first zero byte.
    static std::string getStringData(ByteCursor& cursor);
    // One variable binding into |table|; returns the bytes it occupies (0 at the end).
    static size_t parseOIDValue(ByteCursor& cursor, std::map<std::string, std::string>& table);
    // One base-128 arc.
    static unsigned int getVariableLengthDataValue(ByteCursor& cursor);
    // |count| bytes at |offset| from the position, most significant first, unsigned;
    // 0 for a count below 1 or bytes outside the buffer.
    static unsigned int data2Integer(const ByteCursor& cursor, size_t offset, int count);

private:
    // Reads the version and community elements when present.
    static void skipPacketInfo(ByteCursor& cursor);
    // Reads up to three INTEGER elements: request id, error status, error index.
    static void readRequestInfo(ByteCursor& cursor, int& requestId, int& errorStatus, int& errorIndex);

    std::map<std::string, std::string> responseTable_;
};
