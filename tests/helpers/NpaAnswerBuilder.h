// NpaAnswerBuilder: builds NPA answers (RDC container trees and ROC texts) for tests.
#pragma once

#include <algorithm>
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

// |value| big-endian in |width| bytes (zeros beyond eight).
inline void npaPut(NpaBytes& out, uint64_t value, int width) {
    for (int i = width - 1; i >= 0; --i) out.push_back(i < 8 ? static_cast<unsigned char>(value >> (8 * i)) : 0);
}

// One element of an RDC tree: a container (type 0) with children, or a leaf with raw value
// bytes. |count| replaces the encoded child count, for answers that lie about their size.
struct NpaElement {
    uint64_t id = 0;
    uint64_t type = 0;
    std::vector<NpaElement> children;
    std::string value;
    std::optional<uint64_t> count;

    static NpaElement container(uint64_t id, std::vector<NpaElement> children) {
        return {id, 0, std::move(children), "", std::nullopt};
    }
    static NpaElement leaf(uint64_t id, uint64_t type, std::string bytes) {
        return {id, type, {}, std::move(bytes), std::nullopt};
    }
    // A type-1 leaf holding |value| big-endian in |bytes| bytes.
    static NpaElement integer(uint64_t id, uint64_t value, size_t bytes = 4) {
        NpaBytes encoded;
        npaPut(encoded, value, static_cast<int>(bytes));
        return leaf(id, 1, std::string(encoded.begin(), encoded.end()));
    }
    static NpaElement text(uint64_t id, std::string text) { return leaf(id, 2, std::move(text)); }

    NpaElement& withCount(uint64_t value) { return count = value, *this; }
};

class NpaAnswerBuilder {
public:
    explicit NpaAnswerBuilder(NpaWidths widths = {}) : widths_(widths), header_(headerString(widths)) {}

    // Replaces the header string (padded with NULs or cut to 34 bytes).
    NpaAnswerBuilder& setHeaderString(std::string header) { return header_ = std::move(header), *this; }
    // "P{ID:1,DT:1}C{NE:1,LD:2}L{LD:2}" for the default widths.
    static std::string headerString(const NpaWidths& w) {
        return "P{ID:" + std::to_string(w.id) + ",DT:" + std::to_string(w.type) + "}C{NE:" + std::to_string(w.count) +
               ",LD:" + std::to_string(w.containerLength) + "}L{LD:" + std::to_string(w.leafLength) + "}";
    }

    NpaBytes encode(const NpaElement& element) const {
        NpaBytes out, body(element.value.begin(), element.value.end());
        for (const NpaElement& child : element.children) {
            NpaBytes encoded = encode(child);
            body.insert(body.end(), encoded.begin(), encoded.end());
        }
        npaPut(out, element.id, widths_.id);
        npaPut(out, element.type, widths_.type);
        if (element.type == 0) npaPut(out, element.count.value_or(element.children.size()), widths_.count);
        npaPut(out, body.size(), element.type == 0 ? widths_.containerLength : widths_.leafLength);
        out.insert(out.end(), body.begin(), body.end());
        return out;
    }
    // 0xA5, length, bytes 3 to 11 (zero), the header string at offset 12 and |root| at 46.
    NpaBytes build(const NpaElement& root) const {
        NpaBytes body(9, 0), tree = encode(root);
        std::string header = header_.substr(0, 34);
        header.resize(34, '\0');
        body.insert(body.end(), header.begin(), header.end());
        body.insert(body.end(), tree.begin(), tree.end());
        return frame(body);
    }
    Data buildData(const NpaElement& root) const { return toData(build(root)); }

    // 0xA5 and the big-endian length of |body|, followed by |body|.
    static NpaBytes frame(const NpaBytes& body) {
        NpaBytes out(body.size() + 3);
        out[0] = 0xA5;
        out[1] = static_cast<unsigned char>(body.size() >> 8);
        out[2] = static_cast<unsigned char>(body.size());
        std::copy(body.begin(), body.end(), out.begin() + 3);
        return out;
    }
    static Data toData(const NpaBytes& bytes) { return Data(bytes.data(), static_cast<int>(bytes.size())); }

private:
    NpaWidths widths_;
    std::string header_;
};

// A ROC answer: the frame, bytes 3 to 5, the count byte (the text length unless given), |text|.
inline NpaBytes rocAnswer(const std::string& text, int countByte = -1) {
    NpaBytes body = {0, 0, 0, static_cast<unsigned char>(countByte < 0 ? text.size() : countByte)};
    body.insert(body.end(), text.begin(), text.end());
    return NpaAnswerBuilder::frame(body);
}

// The parts of the RDC trees that the parsers read, with their element ids.
namespace rdc {
using E = NpaElement;
inline E root(std::vector<E> sections) { return E::container(1, std::move(sections)); }  // "1"
// "1.1" general information with the code page leaf "1.1.1.1".
inline E generalInfo(int codePage) {
    return E::container(1, {E::container(1, {E::integer(1, static_cast<uint64_t>(codePage))})});
}
inline E configuration(std::vector<E> parts) { return E::container(2, std::move(parts)); }  // "1.2"
// "1.2.1" input trays, and tray |trayNo| with one entry: device id leaf and name leaf.
inline E inputTrays(std::vector<E> trays) { return E::container(1, std::move(trays)); }
inline E inputTray(uint64_t trayNo, uint64_t deviceId, std::string name) {
    return E::container(trayNo, {E::container(5, {E::container(1, {E::container(1, {E::integer(1, deviceId),
                                                                                   E::text(3, std::move(name))})})})});
}
// "1.2.2" output units; unit |unitNo| has an optional finisher (leaves 1, 7) and bins (id, name).
inline E outputUnits(std::vector<E> units) { return E::container(2, std::move(units)); }
inline E outputUnit(uint64_t unitNo, std::optional<uint64_t> finisherId, std::string finisherName,
                    std::vector<std::pair<uint64_t, std::string>> bins) {
    std::vector<E> leaves, entries;
    if (finisherId) leaves.push_back(E::integer(1, *finisherId));
    if (!finisherName.empty()) leaves.push_back(E::text(7, std::move(finisherName)));
    for (auto& [id, name] : bins) {
        entries.push_back(E::container(entries.size() + 1, {E::container(1, {E::integer(1, id), E::text(3, name)})}));
    }
    leaves.push_back(E::container(5, std::move(entries)));
    return E::container(unitNo, std::move(leaves));
}
inline E duplex(uint64_t value) { return E::container(4, {E::integer(1, value)}); }  // "1.2.4", leaf "1.2.4.1"
// "1.2.8" supplies, and supply |supplyNo| carrying every field of |s|.
inline E supplies(std::vector<E> entries) { return E::container(8, std::move(entries)); }
inline E supply(uint64_t supplyNo, const supplyInfo_& s) {
    auto n = [](int value) { return static_cast<uint64_t>(static_cast<uint32_t>(value)); };
    return E::container(supplyNo, {E::container(1, {E::integer(1, n(s.supplyId)), E::text(3, s.name),
                                                    E::text(5, s.secondText), E::integer(6, n(s.extraNumber1)),
                                                    E::integer(7, n(s.type)), E::integer(12, n(s.extraNumber3)),
                                                    E::integer(13, n(s.extraNumber4)), E::integer(14, n(s.extraNumber2)),
                                                    E::integer(15, n(s.maxCapacity)),
                                                    E::integer(16, n(s.currentLevel))})});
}
}  // namespace rdc
