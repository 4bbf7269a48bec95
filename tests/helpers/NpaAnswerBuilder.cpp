// NpaAnswerBuilder: builds NPA answers (RDC container trees and ROC texts) for tests.
#include "helpers/NpaAnswerBuilder.h"

#include <algorithm>

namespace {

// |value| big-endian in |width| bytes (zeros beyond eight).
void put(NpaBytes& out, uint64_t value, int width) {
    for (int i = width - 1; i >= 0; --i) out.push_back(i < 8 ? static_cast<unsigned char>(value >> (8 * i)) : 0);
}

}  // namespace

NpaElement NpaElement::container(uint64_t id, std::vector<NpaElement> children) {
    NpaElement element;
    element.id = id;
    element.children = std::move(children);
    return element;
}

NpaElement NpaElement::integer(uint64_t id, uint64_t value, size_t bytes) {
    NpaBytes encoded;
    put(encoded, value, static_cast<int>(bytes));
    return leaf(id, 1, std::string(encoded.begin(), encoded.end()));
}

NpaElement NpaElement::text(uint64_t id, std::string text) { return leaf(id, 2, std::move(text)); }

NpaElement NpaElement::leaf(uint64_t id, uint64_t type, std::string bytes) {
    NpaElement element;
    element.id = id;
    element.type = type;
    element.value = std::move(bytes);
    return element;
}

std::string NpaAnswerBuilder::headerString(const NpaWidths& w) {
    return "P{ID:" + std::to_string(w.id) + ",DT:" + std::to_string(w.type) + "}C{NE:" + std::to_string(w.count) +
           ",LD:" + std::to_string(w.containerLength) + "}L{LD:" + std::to_string(w.leafLength) + "}";
}

NpaBytes NpaAnswerBuilder::encode(const NpaElement& element) const {
    NpaBytes out, body(element.value.begin(), element.value.end());
    for (const NpaElement& child : element.children) {
        NpaBytes encoded = encode(child);
        body.insert(body.end(), encoded.begin(), encoded.end());
    }
    put(out, element.id, widths_.id);
    put(out, element.type, widths_.type);
    if (element.type == 0) put(out, element.count.value_or(element.children.size()), widths_.count);
    put(out, element.length.value_or(body.size()), element.type == 0 ? widths_.containerLength : widths_.leafLength);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

NpaBytes NpaAnswerBuilder::build(const NpaElement& root) const {
    NpaBytes body(9, 0);  // bytes 3 to 11: the end of the packet header, the start of the payload
    std::string header = header_.substr(0, 34);
    header.resize(34, '\0');
    body.insert(body.end(), header.begin(), header.end());
    NpaBytes tree = encode(root);
    body.insert(body.end(), tree.begin(), tree.end());
    return frame(body);
}

NpaBytes NpaAnswerBuilder::frame(const NpaBytes& body) {
    NpaBytes out(body.size() + 3);
    out[0] = 0xA5;
    out[1] = static_cast<unsigned char>(body.size() >> 8);
    out[2] = static_cast<unsigned char>(body.size());
    std::copy(body.begin(), body.end(), out.begin() + 3);
    return out;
}

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
    for (auto& [id, name] : bins) {
        entries.push_back(E::container(entries.size() + 1, {E::container(1, {E::integer(1, id), E::text(3, name)})}));
    }
    leaves.push_back(E::container(5, std::move(entries)));
    return E::container(unitNo, std::move(leaves));
}

NpaElement duplex(uint64_t value) { return E::container(4, {E::integer(1, value)}); }

NpaElement supplies(std::vector<NpaElement> entries) { return E::container(8, std::move(entries)); }

NpaElement supply(uint64_t supplyNo, const supplyInfo_& s) {
    auto n = [](int value) { return static_cast<uint64_t>(static_cast<uint32_t>(value)); };
    return E::container(supplyNo, {E::container(1, {E::integer(1, n(s.supplyId)), E::text(3, s.name),
                                                    E::text(5, s.secondText), E::integer(6, n(s.extraNumber1)),
                                                    E::integer(7, n(s.type)), E::integer(12, n(s.extraNumber3)),
                                                    E::integer(13, n(s.extraNumber4)), E::integer(14, n(s.extraNumber2)),
                                                    E::integer(15, n(s.maxCapacity)),
                                                    E::integer(16, n(s.currentLevel))})});
}

}  // namespace rdc
