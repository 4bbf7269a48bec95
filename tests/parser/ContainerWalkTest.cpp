// Tests of the container walk on answers whose container lengths disagree with their children.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "RdcTrees.h"
#include "parser/RDCDuplexParser.h"
#include "parser/RDCInputParser.h"

namespace {

using rdc::E;
using rdc::T;

// |element| declaring a length one byte shorter than its children take.
E shortened(E element) {
    std::string body, error;
    for (const E& child : element.children) T::encode(child, {}, body, error);
    element.claimedLength = static_cast<long>(body.size()) - 1;
    return element;
}

// The last container at its level declares one byte too few: its children lie whole inside
// the answer and are all read. Level 0 shortens nothing.
TEST(ContainerWalk, LastContainerWithTooShortALengthKeepsAllItsChildren) {
    for (int level = 0; level <= 4; ++level) {
        SCOPED_TRACE("shortened level " + std::to_string(level));
        auto cut = [level](int at, E element) { return at == level ? shortened(std::move(element)) : element; };
        E entry = cut(4, T::node(1, {T::number(1, 130), T::text(3, "Env")}));
        E envelopeTray = cut(3, T::node(2, {T::node(5, {T::node(1, {entry})})}));
        E tree = rdc::root({cut(1, rdc::configuration({rdc::inputTrays({rdc::inputTray(1, 1, "T1"), envelopeTray}),
                                                        cut(2, rdc::duplex(1))}))});
        Data data(rdc::answer(tree));
        RDCInputParser input;
        RDCDuplexParser duplex;
        ASSERT_EQ(input.parseData(&data, CMD_CONFIGURATION), 0);
        ASSERT_EQ(duplex.parseData(&data, CMD_CONFIGURATION), 0);
        std::map<int, std::string> trays;
        int installed = -1;
        input.getTrays(trays);
        duplex.getDuplex(installed);
        EXPECT_EQ(trays, (std::map<int, std::string>{{1, "T1"}, {130, "Env"}}));
        EXPECT_EQ(installed, 1);
    }
}

// Containers that claim many children but a length of 0: each descent reads on to the end of
// the answer, so without a bound on the whole walk their cost grows with every level.
TEST(ContainerWalk, OverlappingDescentsEndQuickly) {
    E greedy = T::node(1, {});
    greedy.claimedCount = 255;
    E configuration = rdc::configuration(std::vector<E>(3000, greedy));
    configuration.claimedCount = 1, configuration.claimedLength = 0;
    E tree = rdc::root({configuration});
    tree.claimedLength = 0;
    Data data(rdc::answer(tree));
    auto start = std::chrono::steady_clock::now();
    RDCInputParser input;
    EXPECT_EQ(input.parseData(&data, CMD_CONFIGURATION), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
