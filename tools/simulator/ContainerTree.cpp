// ContainerTree: the self-describing element tree of a configuration answer, and its encoding.
#include "ContainerTree.h"

namespace {

// Appends |value| as a big-endian number of |width| bytes (zeros beyond the eighth); false
// when it does not fit.
bool appendNumber(std::string& out, unsigned long value, int width) {
    if (width < 8 && width >= 0 && value >> (8 * width) != 0) {
        return false;
    }
    for (int i = width - 1; i >= 0; --i) {
        out.push_back(i < 8 ? static_cast<char>((value >> (8 * i)) & 0xFF) : '\0');
    }
    return true;
}

}  // namespace

ContainerTree::Element& ContainerTree::Element::container(int childId) {
    Element child;
    child.id = childId;
    child.type = kContainer;
    children.push_back(child);
    return children.back();
}

ContainerTree::Element& ContainerTree::Element::integer(int childId, long value) {
    Element child;
    child.id = childId;
    child.type = kInteger;
    child.number = value;
    children.push_back(child);
    return *this;
}

ContainerTree::Element& ContainerTree::Element::string(int childId, const std::string& value) {
    Element child;
    child.id = childId;
    child.type = kString;
    child.text = value;
    children.push_back(child);
    return *this;
}

ContainerTree::Element ContainerTree::node(int id, std::vector<Element> children) {
    Element element;
    element.id = id;
    element.children = std::move(children);
    return element;
}

ContainerTree::Element ContainerTree::number(int id, long value) {
    Element element;
    element.id = id;
    element.type = kInteger;
    element.number = value;
    return element;
}

ContainerTree::Element ContainerTree::text(int id, const std::string& value) {
    Element element;
    element.id = id;
    element.type = kString;
    element.text = value;
    return element;
}

ContainerTree::Element ContainerTree::raw(int id, int type, const std::string& bytes) {
    Element element = text(id, bytes);
    element.type = type;
    element.rawValue = true;
    return element;
}

std::string ContainerTree::headerString(const ContainerWidths& widths) {
    // Every group after the first opens with two bytes; readers skip them by position.
    std::string header = "P{ID:" + std::to_string(widths.id) + ",DT:" + std::to_string(widths.type) +
                         "}C{NE:" + std::to_string(widths.count) +
                         ",LD:" + std::to_string(widths.containerLength) + "}L{LD:" +
                         std::to_string(widths.leafLength) + "}";
    header.resize(kHeaderStringSize, '\0');
    return header;
}

int ContainerTree::encode(const Element& element, const ContainerWidths& widths, std::string& out,
                          std::string& error) {
    // Ids wider than their field keep their low bytes.
    unsigned long idMask = widths.id >= 8 ? ~0UL : (1UL << (8 * widths.id)) - 1;
    appendNumber(out, static_cast<unsigned long>(element.id) & idMask, widths.id);
    appendNumber(out, static_cast<unsigned long>(element.type), widths.type);
    if (element.type == kContainer) {
        std::string body;
        for (const Element& child : element.children) {
            if (encode(child, widths, body, error) != 0) {
                return -1;
            }
        }
        unsigned long count = element.claimedCount >= 0 ? static_cast<unsigned long>(element.claimedCount)
                                                         : element.children.size();
        if (!appendNumber(out, count, widths.count)) {
            error = "element " + std::to_string(element.id) + " has too many children for its count field";
            return -1;
        }
        unsigned long length = element.claimedLength >= 0 ? static_cast<unsigned long>(element.claimedLength)
                                                           : body.size();
        if (!appendNumber(out, length, widths.containerLength)) {
            error = "element " + std::to_string(element.id) + " is too long for its length field";
            return -1;
        }
        out += body;
        return 0;
    }
    std::string value;
    if (widths.leafLength == 0) {
        // A zero-width length field can only announce empty values.
        return 0;
    }
    if (element.type == kInteger && !element.rawValue) {
        // Integers travel as 32-bit two's complement, so negative levels keep their sign.
        appendNumber(value, static_cast<unsigned long>(element.number) & 0xFFFFFFFFUL, 4);
    } else {
        value = element.text;
    }
    if (!appendNumber(out, value.size(), widths.leafLength)) {
        error = "leaf " + std::to_string(element.id) + " is too long for its length field";
        return -1;
    }
    out += value;
    return 0;
}
