// NpaAnswerBuilder: builds NPA answers (RDC container trees and ROC texts) for tests.
#include "helpers/NpaAnswerBuilder.h"

#include <algorithm>

NpaElement NpaElement::container(uint64_t id, std::vector<NpaElement> children) {
    NpaElement element;
    element.id = id;
    element.children = std::move(children);
    return element;
}

NpaElement NpaElement::integer(uint64_t id, uint64_t value, size_t bytes) {
    std::string encoded(bytes, '\0');
    for (size_t i = 0, shift = 8 * (bytes - 1); i < bytes; ++i, shift -= 8) {
        encoded[i] = static_cast<char>(shift < 64 ? (value >> shift) & 0xFF : 0);
    }
    return leaf(id, 1, encoded);
}

NpaElement NpaElement::text(uint64_t id, std::string text) { return leaf(id, 2, std::move(text)); }

NpaElement NpaElement::leaf(uint64_t id, uint64_t type, std::string bytes) {
    NpaElement element;
    element.id = id;
    element.type = type;
    element.value = std::move(bytes);
    return element;
}

NpaElement& NpaElement::withCount(uint64_t value) {
    count = value;
    return *this;
}

NpaElement& NpaElement::withLength(uint64_t value) {
    length = value;
    return *this;
}

NpaAnswerBuilder::NpaAnswerBuilder(NpaWidths widths) : widths_(widths), header_(headerString(widths)) {}

NpaAnswerBuilder& NpaAnswerBuilder::setHeaderString(std::string header) {
    header_ = std::move(header);
    return *this;
}

std::string NpaAnswerBuilder::headerString(const NpaWidths& w) {
    return "P{ID:" + std::to_string(w.id) + ",DT:" + std::to_string(w.type) + "}C{NE:" + std::to_string(w.count) +
           ",LD:" + std::to_string(w.containerLength) + "}L{LD:" + std::to_string(w.leafLength) + "}";
}

void NpaAnswerBuilder::put(NpaBytes& out, uint64_t value, int width) const {
    for (int i = width - 1; i >= 0; --i) out.push_back(8 * i < 64 ? static_cast<unsigned char>(value >> (8 * i)) : 0);
}

NpaBytes NpaAnswerBuilder::encode(const NpaElement& element) const {
    NpaBytes out;
    put(out, element.id, widths_.id);
    put(out, element.type, widths_.type);
    if (element.type != 0) {
        put(out, element.length.value_or(element.value.size()), widths_.leafLength);
        out.insert(out.end(), element.value.begin(), element.value.end());
        return out;
    }
    NpaBytes body;
    for (const NpaElement& child : element.children) {
        NpaBytes encoded = encode(child);
        body.insert(body.end(), encoded.begin(), encoded.end());
    }
    put(out, element.count.value_or(element.children.size()), widths_.count);
    put(out, element.length.value_or(body.size()), widths_.containerLength);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

NpaBytes NpaAnswerBuilder::build(const NpaElement& root) const {
    // Bytes 3 to 11 (the end of the packet header, the start of the payload), then the
    // 34-byte header string at offset 12.
    NpaBytes body(9, 0);
    std::string header = header_.substr(0, 34);
    header.resize(34, '\0');
    body.insert(body.end(), header.begin(), header.end());
    NpaBytes tree = encode(root);
    body.insert(body.end(), tree.begin(), tree.end());
    return frame(body);
}

Data NpaAnswerBuilder::buildData(const NpaElement& root) const { return toData(build(root)); }

NpaBytes NpaAnswerBuilder::frame(const NpaBytes& body) {
    NpaBytes out(body.size() + 3);
    out[0] = 0xA5;
    out[1] = static_cast<unsigned char>(body.size() >> 8);
    out[2] = static_cast<unsigned char>(body.size());
    std::copy(body.begin(), body.end(), out.begin() + 3);
    return out;
}

Data NpaAnswerBuilder::toData(const NpaBytes& bytes) { return Data(bytes.data(), static_cast<int>(bytes.size())); }

NpaBytes rocAnswer(const std::string& text, int countByte) {
    NpaBytes body = {0, 0, 0, static_cast<unsigned char>(countByte < 0 ? text.size() : countByte)};
    body.insert(body.end(), text.begin(), text.end());
    return NpaAnswerBuilder::frame(body);
}

namespace rdc {

using E = NpaElement;

NpaElement root(std::vector<NpaElement> sections) { return E::container(1, std::move(sections)); }

NpaElement generalInfo(int codePage) {
    return E::container(1, {E::container(1, {E::integer(1, static_cast<uint64_t>(codePage))})});
}

NpaElement configuration(std::vector<NpaElement> parts) { return E::container(2, std::move(parts)); }

NpaElement inputTrays(std::vector<NpaElement> trays) { return E::container(1, std::move(trays)); }

NpaElement inputTray(uint64_t trayNo, uint64_t deviceId, std::string name) {
    return E::container(trayNo, {E::container(5, {E::container(1, {E::container(1, {E::integer(1, deviceId),
                                                                                   E::text(3, std::move(name))})})})});
}

NpaElement outputUnits(std::vector<NpaElement> units) { return E::container(2, std::move(units)); }

NpaElement outputUnit(uint64_t unitNo, std::optional<uint64_t> finisherId, std::string finisherName,
                      std::vector<std::pair<uint64_t, std::string>> bins) {
    std::vector<NpaElement> leaves, entries;
    if (finisherId) leaves.push_back(E::integer(1, *finisherId));
    if (!finisherName.empty()) leaves.push_back(E::text(7, std::move(finisherName)));
    for (auto& bin : bins) {
        entries.push_back(E::container(entries.size() + 1, {E::container(1, {E::integer(1, bin.first),
                                                                               E::text(3, std::move(bin.second))})}));
    }
    leaves.push_back(E::container(5, std::move(entries)));
    return E::container(unitNo, std::move(leaves));
}

NpaElement duplex(uint64_t value) { return E::container(4, {E::integer(1, value)}); }

NpaElement supplies(std::vector<NpaElement> entries) { return E::container(8, std::move(entries)); }

NpaElement supply(uint64_t supplyNo, const supplyInfo_& s) {
    auto number = [](int value) { return static_cast<uint64_t>(static_cast<uint32_t>(value)); };
    return E::container(supplyNo, {E::container(1, {E::integer(1, number(s.supplyId)), E::text(3, s.name),
                                                    E::text(5, s.secondText), E::integer(6, number(s.extraNumber1)),
                                                    E::integer(7, number(s.type)), E::integer(12, number(s.extraNumber3)),
                                                    E::integer(13, number(s.extraNumber4)),
                                                    E::integer(14, number(s.extraNumber2)),
                                                    E::integer(15, number(s.maxCapacity)),
                                                    E::integer(16, number(s.currentLevel))})});
}

}  // namespace rdc
