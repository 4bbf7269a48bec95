// Test-side readers for the simulator's output, written apart from the simulator's encoders
// so that a fault in an encoder cannot hide itself; and loading of the profiles tests use.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "ProfileLoader.h"

namespace simtest {

inline std::string profilePath(const std::string& name) {
    return std::string(CFFSIM_PROFILE_DIR) + "/" + name + ".yaml";
}

// A bundled profile by name.
inline DeviceProfile load(const std::string& name) {
    DeviceProfile profile;
    std::string error;
    EXPECT_EQ(0, ProfileLoader::loadFile(profilePath(name), profile, error)) << error;
    return profile;
}

// A profile given as YAML text.
inline DeviceProfile loadText(const std::string& text) {
    DeviceProfile profile;
    std::string error;
    EXPECT_EQ(0, ProfileLoader::loadText(text, "inline", profile, error)) << error;
    return profile;
}

inline std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

inline unsigned at(const std::string& bytes, size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0x100;
}

// Value of one leaf, keyed by its dotted id.
struct Leaf {
    int type = 0;
    uint32_t number = 0;
    std::string text;
};

// Walks the element tree of a one-packet answer: reads the widths from the header text at
// offset 12 and collects every leaf under its dotted id. Sets |ok| false on any overrun.
class TreeReader {
public:
    explicit TreeReader(const std::string& answer) : answer_(answer) {
        std::string header = answer.size() >= 46 ? answer.substr(12, 34) : std::string();
        // Groups after the first open with two bytes, a letter and a brace.
        ok = std::sscanf(header.c_str(), "P{ID:%d,DT:%d}%*c{NE:%d,LD:%d}%*c{LD:%d}", &wi_, &wt_, &wn_, &wc_, &wl_) == 5;
        if (!ok) {
            return;
        }
        size_t pos = 46;
        rootCount = static_cast<int>(number(pos + wi_ + wt_, wn_));
        walk("1", pos);
        ok = ok && pos == answer.size();
    }

    bool ok = false;
    int rootCount = 0;
    std::map<std::string, Leaf> leaves;
    std::vector<std::string> containers;

private:
    uint64_t number(size_t pos, int width) {
        uint64_t value = 0;
        for (int i = 0; i < width; ++i) {
            if (pos + i >= answer_.size()) {
                ok = false;
                return 0;
            }
            value = (value << 8) | at(answer_, pos + i);
        }
        return value;
    }

    // Reads the container at |pos| (whose dotted id is |id|) and moves |pos| past it.
    void walk(const std::string& id, size_t& pos) {
        containers.push_back(id);
        uint64_t count = number(pos + wi_ + wt_, wn_);
        uint64_t length = number(pos + wi_ + wt_ + wn_, wc_);
        size_t child = pos + wi_ + wt_ + wn_ + wc_;
        size_t end = child + length;
        for (uint64_t n = 0; n < count && ok; ++n) {
            std::string childId = id + "." + std::to_string(number(child, wi_) & 0xFF);
            int type = static_cast<int>(number(child + wi_, wt_));
            if (type == 0) {
                walk(childId, child);
                continue;
            }
            uint64_t size = number(child + wi_ + wt_, wl_);
            size_t value = child + wi_ + wt_ + wl_;
            if (value + size > answer_.size()) {
                ok = false;
                return;
            }
            Leaf leaf;
            leaf.type = type;
            leaf.text = answer_.substr(value, size);
            leaf.number = static_cast<uint32_t>(number(value, static_cast<int>(size)));
            leaves[childId] = leaf;
            child = value + size;
        }
        ok = ok && child == end;
        pos = end;
    }

    std::string answer_;
    int wi_ = 0, wt_ = 0, wn_ = 0, wc_ = 0, wl_ = 0;
};

}  // namespace simtest
