// NPAContainerParser: reads the header string of an RDC answer and walks its element tree.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "parser/NPABaseParser.h"

// Data types of the elements of an RDC tree.
enum NPADataType {
    NPA_TYPE_CONTAINER = 0,
    NPA_TYPE_INTEGER = 1,
    NPA_TYPE_STRING = 2,
};

// Steps through the children of one container. It stops early when the answer has run
// out or a child did not move the cursor, so a count that the bytes cannot back (up to
// 2^32 from a wide count field) ends the loop instead of spinning over nothing.
class NPAChildWalk {
public:
    explicit NPAChildWalk(unsigned int count) : count_(count) {}
    // True when one more child is to be read at |cursor|.
    bool next(const ByteCursor& cursor);

private:
    unsigned int count_;
    unsigned int index_ = 0;
    size_t lastPosition_ = 0;
};

class NPAContainerParser : public NPABaseParser {
public:
    // Offsets of the tree and of the header string in an RDC answer.
    static constexpr size_t kHeaderOffset = 12;
    static constexpr size_t kHeaderSize = 34;
    static constexpr size_t kTreeOffset = 46;
    // Deepest container level that a walk descends into.
    static constexpr int kMaxDepth = 64;

    NPAContainerParser() = default;
    ~NPAContainerParser() override = default;

    // 0 when the frame is whole and the header readable; else 1, 2, 3, 4 or 5. Stores 0 or
    // the frame error in the status; 3 and 5 leave the status as it was.
    int parseData(Data* answer, CommandID id) override;
    // Sets the five widths to 0; returns 0. A derived parser's override empties only its
    // own results: it runs again just before the walk, which needs the widths.
    int clearData() override;

    // 1 when the header string at |header| has its three brace groups, 0 when not.
    int ParseHeaderStringInfo(const ByteCursor& header);

    // Cursor operations: the cursor stands on the first byte of an element and never
    // moves past the end of the answer; a read beyond it marks the cursor past the end.
    // At a container: its child count; the cursor moves onto its first child.
    int GetNoOfElement(ByteCursor& cursor, unsigned int& count);
    // Element id and data type (low 8 bits of each field); the cursor does not move.
    int GetItemInfo(const ByteCursor& cursor, unsigned char& id, unsigned char& type);
    // Moves past a whole container by its length field.
    int ParseContainerInfo(ByteCursor& cursor);
    // Appends a leaf's text to |out| and moves past it; -1 when the text is cut off.
    int ParseStringInformation(ByteCursor& cursor, std::string& out);
    // Stores a leaf's big-endian value and moves past it; -1 when the value is cut off.
    int ParseIntegerInfo(ByteCursor& cursor, int& out);
    // Moves past a leaf of any data type.
    int ParseUnknownDataType(ByteCursor& cursor);

protected:
    // What a walk does with the children of one container; each handler gets the child's
    // dotted id. An empty handler does nothing.
    struct ChildHandlers {
        // An integer leaf's value.
        std::function<void(const std::string& childId, int value)> integer;
        // A string leaf's text. When empty, string leaves are stepped over as unknown types.
        std::function<void(const std::string& childId, const std::string& text)> text;
        // A container, before the walk decides whether to descend into it.
        std::function<void(const std::string& childId)> container;
        // Descends into the container |childId|; |window| starts at it and runs to the end
        // of the answer.
        std::function<void(const std::string& childId, const ByteCursor& window)> descend;
    };

    // Steps through the children of the container at |cursor| whose dotted id is
    // |parentId|. Descends into a container whose id is |section| or contains
    // |subsection| (down to kMaxDepth), reading it up to the end of the answer, and then
    // moves past it by its length field. Stops at a leaf that the answer cuts off, and once
    // the walk of this answer has stepped over as many children as the answer has bytes.
    void walkChildren(const std::string& parentId, ByteCursor cursor, const std::string& section,
                      const std::string& subsection, const ChildHandlers& handlers);

    // Walks the container at |cursor| for the integer leaf whose dotted id is |leaf| and
    // stores its value in |out|; the walk and each level it descends into is traced as
    // |module|:|function|. 0, or 7 when the cursor has no bytes.
    int walkForIntegerLeaf(const std::string& parentId, ByteCursor cursor,
                           const std::string& section, const std::string& subsection,
                           const std::string& leaf, int& out, const char* module,
                           const char* function);

    // A cursor on the root container at offset 46 of |answer|, bounded by its end.
    static ByteCursor treeCursor(Data* answer);
    // False once |childId| lies deeper than kMaxDepth levels below the root.
    static bool canDescend(const std::string& childId);

    int idWidth_ = 0;
    int typeWidth_ = 0;
    int countWidth_ = 0;
    int containerLengthWidth_ = 0;
    int leafLengthWidth_ = 0;

private:
    // Children the walks of the current answer may still step over. A well-formed tree
    // visits each element once and every element takes at least one byte, so only length
    // fields that make descents overlap (each of which may read to the end of the answer)
    // use it up; it keeps their cost linear instead of growing with every level.
    size_t walkSteps_ = 0;

    size_t containerHeaderSize() const;
    size_t leafHeaderSize() const;
};
