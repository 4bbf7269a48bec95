// NPAContainerParser: reads the header string of an RDC answer and walks its element tree.
#include "parser/NPAContainerParser.h"

#include <algorithm>
#include <cctype>
#include <limits>

#include "support/Logger.h"

namespace {

// Widths are clamped to what an answer (at most 65538 bytes) could ever hold, so sums of
// widths cannot overflow; a negative width counts as 0.
constexpr long kMaxWidth = 65535;

// Leading decimal number of |text| from |position|, as atoi reads it; no digits gives 0.
int decimalAt(const std::string& text, size_t position) {
    size_t i = position;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    long value = 0;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) {
        value = std::min(value * 10 + (text[i] - '0'), kMaxWidth);
        ++i;
    }
    return negative ? 0 : static_cast<int>(value);
}

// The width after |key| searched from |from|; |width| is left alone when the key is absent.
void widthAfter(const std::string& text, const char* key, size_t from, int& width) {
    if (from > text.size()) {
        return;
    }
    size_t found = text.find(key, from);
    if (found != std::string::npos) {
        width = decimalAt(text, found + 3);
    }
}

size_t width(int w) { return w > 0 ? static_cast<size_t>(w) : 0; }

}  // namespace

bool NPAChildWalk::next(const ByteCursor& cursor) {
    if (index_ > 0 && (cursor.pastEnd() || cursor.position() == lastPosition_)) {
        return false;
    }
    if (index_ >= count_ || cursor.atEnd()) {
        return false;
    }
    lastPosition_ = cursor.position();
    ++index_;
    return true;
}

int NPAContainerParser::parseData(Data* answer, CommandID id) {
    Logger logger("NPAContainerParser", "parseData");
    int result = checkAnswer(logger, answer, id, kTreeOffset);
    if (result != NPA_PARSE_OK) {
        return result;
    }
    // The derived parser empties its results; the widths are always read afresh.
    clearData();
    NPAContainerParser::clearData();
    ByteCursor header(answer->get(), static_cast<size_t>(answer->size()));
    header.seek(kHeaderOffset);
    if (ParseHeaderStringInfo(header.window(kHeaderSize)) == 0) {
        logger.Log("error =%s", statusName(INVALID_HEADER_INFO_ERROR));
        return INVALID_HEADER_INFO_ERROR;
    }
    walkSteps_ = static_cast<size_t>(answer->size());
    status_ = NPA_PARSE_OK;
    return NPA_PARSE_OK;
}

int NPAContainerParser::clearData() {
    idWidth_ = 0;
    typeWidth_ = 0;
    countWidth_ = 0;
    containerLengthWidth_ = 0;
    leafLengthWidth_ = 0;
    return 0;
}

int NPAContainerParser::ParseHeaderStringInfo(const ByteCursor& header) {
    Logger logger("NPAContainerParser", "ParseHeaderStringInfo");
    ByteCursor reader = header;
    std::string text = reader.readText(reader.remaining());
    text = text.substr(0, text.find('\0'));

    if (text.size() < 2 || text[0] != 'P' || text[1] != '{') {
        return 0;
    }
    size_t first = text.find('}', 2);
    if (first == std::string::npos) {
        return 0;
    }
    widthAfter(text, "ID:", 2, idWidth_);
    widthAfter(text, "DT:", 2, typeWidth_);

    // Each later group opens with two bytes after the previous closing brace.
    size_t secondStart = first + 3;
    if (secondStart > text.size()) {
        return 0;
    }
    size_t second = text.find('}', secondStart);
    if (second == std::string::npos) {
        return 0;
    }
    widthAfter(text, "NE:", secondStart, countWidth_);
    widthAfter(text, "LD:", secondStart, containerLengthWidth_);

    size_t thirdStart = second + 3;
    if (thirdStart > text.size() || text.find('}', thirdStart) == std::string::npos) {
        return 0;
    }
    widthAfter(text, "LD:", thirdStart, leafLengthWidth_);
    return 1;
}

int NPAContainerParser::GetNoOfElement(ByteCursor& cursor, unsigned int& count) {
    Logger logger("NPAContainerParser", "GetNoOfElement");
    count = static_cast<unsigned int>(
        HexStrToLong(cursor, width(idWidth_) + width(typeWidth_), countWidth_));
    cursor.skip(containerHeaderSize());
    return 0;
}

int NPAContainerParser::GetItemInfo(const ByteCursor& cursor, unsigned char& id,
                                    unsigned char& type) {
    Logger logger("NPAContainerParser", "GetItemInfo");
    id = static_cast<unsigned char>(HexStrToLong(cursor, 0, idWidth_));
    type = static_cast<unsigned char>(HexStrToLong(cursor, width(idWidth_), typeWidth_));
    return 0;
}

int NPAContainerParser::ParseContainerInfo(ByteCursor& cursor) {
    Logger logger("NPAContainerParser", "ParseContainerInfo");
    uint64_t length = HexStrToLong(
        cursor, width(idWidth_) + width(typeWidth_) + width(countWidth_), containerLengthWidth_);
    if (cursor.skip(containerHeaderSize())) {
        cursor.skip(length > std::numeric_limits<size_t>::max() ? std::numeric_limits<size_t>::max()
                                                                : static_cast<size_t>(length));
    }
    return 0;
}

int NPAContainerParser::ParseStringInformation(ByteCursor& cursor, std::string& out) {
    Logger logger("NPAContainerParser", "ParseStringInformation");
    uint64_t length = HexStrToLong(cursor, width(idWidth_) + width(typeWidth_), leafLengthWidth_);
    if (!cursor.skip(leafHeaderSize()) || length > cursor.remaining()) {
        cursor.skip(cursor.remaining() + 1);
        return -1;
    }
    out += cursor.readText(static_cast<size_t>(length));
    return 0;
}

int NPAContainerParser::ParseIntegerInfo(ByteCursor& cursor, int& out) {
    Logger logger("NPAContainerParser", "ParseIntegerInfo");
    uint64_t length = HexStrToLong(cursor, width(idWidth_) + width(typeWidth_), leafLengthWidth_);
    if (!cursor.skip(leafHeaderSize()) || length > cursor.remaining()) {
        cursor.skip(cursor.remaining() + 1);
        return -1;
    }
    // Kept as a 32-bit int: the low 32 bits of the big-endian value.
    out = static_cast<int>(static_cast<uint32_t>(cursor.readBigEndian(static_cast<size_t>(length))));
    return 0;
}

int NPAContainerParser::ParseUnknownDataType(ByteCursor& cursor) {
    // Traced under "NPAParser" on purpose; log readers know the line by that name.
    Logger logger("NPAParser", "ParseUnknownDataType");
    uint64_t length = HexStrToLong(cursor, width(idWidth_) + width(typeWidth_), leafLengthWidth_);
    if (cursor.skip(leafHeaderSize())) {
        cursor.skip(length > cursor.remaining() ? cursor.remaining() + 1
                                                : static_cast<size_t>(length));
    }
    return 0;
}

void NPAContainerParser::walkChildren(const std::string& parentId, ByteCursor cursor,
                                      const std::string& section, const std::string& subsection,
                                      const ChildHandlers& handlers) {
    unsigned int count = 0;
    GetNoOfElement(cursor, count);
    for (NPAChildWalk walk(count); walk.next(cursor);) {
        if (walkSteps_ == 0) {
            break;
        }
        --walkSteps_;
        unsigned char id = 0;
        unsigned char type = 0;
        GetItemInfo(cursor, id, type);
        std::string childId = parentId + "." + std::to_string(id);

        if (type == NPA_TYPE_STRING && handlers.text) {
            std::string text;
            if (ParseStringInformation(cursor, text) != 0) {
                break;
            }
            handlers.text(childId, text);
        } else if (type == NPA_TYPE_INTEGER) {
            int value = 0;
            if (ParseIntegerInfo(cursor, value) != 0) {
                break;
            }
            if (handlers.integer) {
                handlers.integer(childId, value);
            }
        } else if (type == NPA_TYPE_CONTAINER) {
            if (handlers.container) {
                handlers.container(childId);
            }
            // The descent reads up to the end of the answer, not of the container: a length
            // field that is too short must not lose children that the answer does hold.
            if ((childId == section || childId.find(subsection) != std::string::npos) &&
                canDescend(childId) && handlers.descend) {
                handlers.descend(childId, cursor.window(cursor.remaining()));
            }
            ParseContainerInfo(cursor);
        } else {
            ParseUnknownDataType(cursor);
        }
    }
}

int NPAContainerParser::walkForIntegerLeaf(const std::string& parentId, ByteCursor cursor,
                                           const std::string& section,
                                           const std::string& subsection,
                                           const std::string& leaf, int& out, const char* module,
                                           const char* function) {
    Logger logger(module, function);
    if (cursor.base() == nullptr) {
        return NPA_NULL_CURSOR_ERROR;
    }
    ChildHandlers handlers;
    handlers.integer = [&](const std::string& childId, int value) {
        if (childId == leaf) {
            out = value;
        }
    };
    handlers.descend = [&](const std::string& childId, const ByteCursor& window) {
        walkForIntegerLeaf(childId, window, section, subsection, leaf, out, module, function);
    };
    walkChildren(parentId, cursor, section, subsection, handlers);
    return 0;
}

ByteCursor NPAContainerParser::treeCursor(Data* answer) {
    ByteCursor cursor(answer->get(), static_cast<size_t>(answer->size()));
    cursor.seek(kTreeOffset);
    return cursor;
}

bool NPAContainerParser::canDescend(const std::string& childId) {
    return std::count(childId.begin(), childId.end(), '.') <= kMaxDepth;
}

size_t NPAContainerParser::containerHeaderSize() const {
    return width(idWidth_) + width(typeWidth_) + width(countWidth_) + width(containerLengthWidth_);
}

size_t NPAContainerParser::leafHeaderSize() const {
    return width(idWidth_) + width(typeWidth_) + width(leafLengthWidth_);
}
