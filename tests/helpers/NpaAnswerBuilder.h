// NpaAnswerBuilder: builds NPA answers (RDC container trees and ROC texts) for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/Data.h"
#include "parser/SupplyInfo.h"

using NpaBytes = std::vector<unsigned char>;

// Field widths in bytes that the header string declares and the elements are encoded with.
struct NpaWidths {
    int id = 1, type = 1, count = 1, containerLength = 2, leafLength = 2;
};

// One element of an RDC tree: a container (type 0) with children, or a leaf with raw value
// bytes. |count| and |length| replace the encoded fields, for answers that lie about their size.
struct NpaElement {
    uint64_t id = 0;
    uint64_t type = 0;
    std::vector<NpaElement> children;
    std::string value;
    std::optional<uint64_t> count;
    std::optional<uint64_t> length;

    static NpaElement container(uint64_t id, std::vector<NpaElement> children);
    // A type-1 leaf holding |value| big-endian in |bytes| bytes.
    static NpaElement integer(uint64_t id, uint64_t value, size_t bytes = 4);
    static NpaElement text(uint64_t id, std::string text);  // a type-2 leaf
    static NpaElement leaf(uint64_t id, uint64_t type, std::string bytes);

    NpaElement& withCount(uint64_t value) { return count = value, *this; }
    NpaElement& withLength(uint64_t value) { return length = value, *this; }
};

class NpaAnswerBuilder {
public:
    explicit NpaAnswerBuilder(NpaWidths widths = {}) : widths_(widths), header_(headerString(widths)) {}

    // Replaces the header string (padded with NULs or cut to 34 bytes).
    NpaAnswerBuilder& setHeaderString(std::string header) { return header_ = std::move(header), *this; }
    // "P{ID:1,DT:1}C{NE:1,LD:2}L{LD:2}" for the default widths.
    static std::string headerString(const NpaWidths& widths);

    NpaBytes encode(const NpaElement& element) const;
    // The whole answer: 0xA5, length, bytes 3 to 11, the header string at offset 12 and
    // |root| at offset 46.
    NpaBytes build(const NpaElement& root) const;
    Data buildData(const NpaElement& root) const { return toData(build(root)); }

    // 0xA5 and the big-endian length of |body|, followed by |body|.
    static NpaBytes frame(const NpaBytes& body);
    static Data toData(const NpaBytes& bytes) { return Data(bytes.data(), static_cast<int>(bytes.size())); }

private:
    NpaWidths widths_;
    std::string header_;
};

// A ROC answer: the frame, bytes 3 to 5, the count byte (the text length unless given), |text|.
NpaBytes rocAnswer(const std::string& text, int countByte = -1);

// The parts of the RDC trees that the parsers read, with their element ids.
namespace rdc {
NpaElement root(std::vector<NpaElement> sections);       // "1"
NpaElement generalInfo(int codePage);                     // "1.1", code page leaf "1.1.1.1"
NpaElement configuration(std::vector<NpaElement> parts);  // "1.2"
// "1.2.1" input trays, and tray |trayNo| with one entry: device id leaf and name leaf.
NpaElement inputTrays(std::vector<NpaElement> trays);
NpaElement inputTray(uint64_t trayNo, uint64_t deviceId, std::string name);
// "1.2.2" output units, and unit |unitNo| with an optional finisher (leaves 1 and 7) and one
// entry per bin (device id, name).
NpaElement outputUnits(std::vector<NpaElement> units);
NpaElement outputUnit(uint64_t unitNo, std::optional<uint64_t> finisherId, std::string finisherName,
                      std::vector<std::pair<uint64_t, std::string>> bins);
NpaElement duplex(uint64_t value);  // "1.2.4" with the duplex leaf "1.2.4.1"
// "1.2.8" supplies, and supply |supplyNo| carrying every field of |supply|.
NpaElement supplies(std::vector<NpaElement> entries);
NpaElement supply(uint64_t supplyNo, const supplyInfo_& supply);
}  // namespace rdc
