// Tests of the container walk on answers whose container lengths disagree with their children.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "parser/RDCDuplexParser.h"
#include "parser/RDCInputParser.h"

namespace {

// One element of a tree encoded with widths ID 1, DT 1, NE 1, container LD 2, leaf LD 1.
struct Node {
    int id;
    int type;  // 0 container, 1 integer, 2 text
    std::string value;
    std::vector<Node> children;
};
Node container(int id, std::vector<Node> children) { return {id, 0, "", std::move(children)}; }
Node integer(int id, int value) { return {id, 1, std::string(1, char(value)), {}}; }
Node text(int id, std::string value) { return {id, 2, std::move(value), {}}; }

// Appends |node|, whose dotted id is |path|; the container |shortened| declares one byte less.
void encode(const Node& node, const std::string& path, const std::string& shortened, std::string& out) {
    out += char(node.id);
    out += char(node.type);
    if (node.type != 0) {
        out += char(node.value.size());
        out += node.value;
        return;
    }
    std::string body;
    for (const Node& child : node.children) encode(child, path + "." + std::to_string(child.id), shortened, body);
    size_t length = body.size() - (path == shortened ? 1 : 0);
    out += char(node.children.size());
    out += char(length >> 8);
    out += char(length & 0xFF);
    out += body;
}

// A whole answer: frame start and length, nine unread bytes, the header string, the tree.
std::string answer(const std::string& tree) {
    std::string header = "P{ID:1,DT:1}C{NE:1,LD:2}L{LD:1}";
    header.resize(34, '\0');
    std::string body = std::string(9, '\0') + header + tree;
    return std::string{char(0xA5), char(body.size() >> 8), char(body.size() & 0xFF)} + body;
}

Data toData(const std::string& bytes) {
    return Data(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
}

Node tray(int trayNo, int deviceId, const std::string& name) {
    return container(trayNo, {container(5, {container(1, {container(1, {integer(1, deviceId), text(3, name)})})})});
}

// The last container at its level declares one byte too few: its children lie whole inside
// the answer and are all read.
TEST(ContainerWalk, LastContainerWithTooShortALengthKeepsAllItsChildren) {
    const Node root = container(1, {container(2, {container(1, {tray(1, 1, "T1"), tray(2, 130, "Env")}),
                                                  container(4, {integer(1, 1)})})});
    for (const char* shortened : {"", "1.2", "1.2.4", "1.2.1.2", "1.2.1.2.5.1.1"}) {
        SCOPED_TRACE(std::string("shortened: ") + shortened);
        std::string tree;
        encode(root, "1", shortened, tree);
        Data data = toData(answer(tree));
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
    std::string tree = {1, 0, 1, 0, 0, 2, 0, 1, 0, 0};  // "1" and "1.2", lengths 0
    for (int i = 0; i < 3000; ++i) tree += std::string{1, 0, char(0xFF), 0, 0};
    Data data = toData(answer(tree));
    auto start = std::chrono::steady_clock::now();
    RDCInputParser input;
    EXPECT_EQ(input.parseData(&data, CMD_CONFIGURATION), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
