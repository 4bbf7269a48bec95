// RdcTrees: the parts of the configuration and supply trees that the parsers read, built with
// the simulator's element tree and framed as its printer frames an answer.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ContainerTree.h"
#include "NpaAnswerBuilder.h"
#include "core/Data.h"
#include "helpers/NpaAnswerScripts.h"
#include "parser/SupplyInfo.h"

namespace rdc {

using E = ContainerTree::Element;
using T = ContainerTree;

using npa_script::kConfigurationRequest;
using npa_script::kOptionsRequest;

// |element| claiming |count| children, whatever it holds.
inline E withCount(E element, long count) {
    element.claimedCount = count;
    return element;
}

// How an answer declares its field widths: the header text for |widths| unless |header| is set.
struct Framing {
    ContainerWidths widths;
    std::optional<std::string> header;
};

// The one-packet answer holding |tree|.
inline std::string answer(const E& tree, const Framing& framing = {}) {
    std::string out, error;
    if (NpaAnswerBuilder::treePacket(kConfigurationRequest,
                                     framing.header.value_or(ContainerTree::headerString(framing.widths)), tree,
                                     framing.widths, out, error) != 0) {
        ADD_FAILURE() << error;
    }
    return out;
}

// The start byte and the 16-bit length of |body|, followed by |body|.
inline std::string frame(const std::string& body) {
    return std::string{'\xA5', static_cast<char>(body.size() >> 8), static_cast<char>(body.size())} + body;
}

inline E root(std::vector<E> sections) { return T::node(1, std::move(sections)); }  // "1"
// "1.1" general information with the code page leaf "1.1.1.1".
inline E generalInfo(int codePage) { return T::node(1, {T::node(1, {T::number(1, codePage)})}); }
inline E configuration(std::vector<E> parts) { return T::node(2, std::move(parts)); }  // "1.2"
// "1.2.1" input trays, and tray |trayNo| with one entry: device id leaf and name leaf.
inline E inputTrays(std::vector<E> trays) { return T::node(1, std::move(trays)); }
inline E inputTray(int trayNo, int deviceId, const std::string& name) {
    return T::node(trayNo, {T::node(5, {T::node(1, {T::node(1, {T::number(1, deviceId), T::text(3, name)})})})});
}
// "1.2.2" output units; unit |unitNo| has an optional finisher (leaves 1, 7) and bins (id, name).
inline E outputUnits(std::vector<E> units) { return T::node(2, std::move(units)); }
inline E outputUnit(int unitNo, std::optional<int> finisherId, const std::string& finisherName,
                    const std::vector<std::pair<int, std::string>>& bins) {
    std::vector<E> leaves, entries;
    if (finisherId) leaves.push_back(T::number(1, *finisherId));
    if (!finisherName.empty()) leaves.push_back(T::text(7, finisherName));
    for (const auto& [id, name] : bins) {
        entries.push_back(T::node(static_cast<int>(entries.size()) + 1, {T::node(1, {T::number(1, id), T::text(3, name)})}));
    }
    leaves.push_back(T::node(5, std::move(entries)));
    return T::node(unitNo, std::move(leaves));
}
inline E duplex(long value) { return T::node(4, {T::number(1, value)}); }  // "1.2.4", leaf "1.2.4.1"
// "1.2.8" supplies, and supply |supplyNo| carrying every field of |s|.
inline E supplies(std::vector<E> entries) { return T::node(8, std::move(entries)); }
inline E supply(int supplyNo, const supplyInfo_& s) {
    return T::node(supplyNo, {T::node(1, {T::number(1, s.supplyId), T::text(3, s.name), T::text(5, s.secondText),
                                          T::number(6, s.extraNumber1), T::number(7, s.type),
                                          T::number(12, s.extraNumber3), T::number(13, s.extraNumber4),
                                          T::number(14, s.extraNumber2), T::number(15, s.maxCapacity),
                                          T::number(16, s.currentLevel)})});
}

}  // namespace rdc
