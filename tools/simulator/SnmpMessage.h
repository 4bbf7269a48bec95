// SnmpMessage: the agent's side of SNMP v1/v2c messages: requests decoded, responses encoded.
#pragma once

#include <string>
#include <vector>

#include "MibView.h"

struct SnmpVarBind {
    // Tags of the values that the agent sends.
    enum Tag : unsigned char {
        kInteger = 0x02,
        kOctetString = 0x04,
        kNull = 0x05,
        kCounter = 0x41,
        kNoSuchObject = 0x80,
        kEndOfMibView = 0x82,
    };
    MibView::Oid oid;
    Tag tag = kNull;            // any tag may be sent; these are the ones the agent uses
    long number = 0;
    std::string text;           // content bytes: the string, or those of any other tag
};

class SnmpMessage {
public:
    enum PduType : unsigned char {
        kGetRequest = 0xA0,
        kGetNextRequest = 0xA1,
        kGetResponse = 0xA2,
    };
    enum ErrorStatus { kNoError = 0, kTooBig = 1, kNoSuchName = 2, kGenErr = 5 };

    long version = 0;        // 0: v1, 1: v2c
    std::string community;
    unsigned char pduType = kGetRequest;
    long requestId = 0;
    long errorStatus = 0;
    long errorIndex = 0;
    std::vector<SnmpVarBind> bindings;

    // Decodes a whole message. Returns 0, or -1 when it is not a well-formed v1/v2c message
    // (lengths are checked against the datagram, long-form lengths accepted).
    int decode(const unsigned char* bytes, size_t size);
    // Encodes the message with minimal lengths and integers.
    std::string encode() const;

    // BER pieces, public so that tests can compare them with their own expectations.
    static std::string encodeLength(size_t length);
    static std::string encodeInteger(unsigned char tag, long value);
    static std::string encodeOid(const MibView::Oid& oid);
};
