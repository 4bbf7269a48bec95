// ContainerTree: the self-describing element tree of a configuration answer, and its encoding.
#pragma once

#include <string>
#include <vector>

#include "DeviceProfile.h"

class ContainerTree {
public:
    enum DataType { kContainer = 0, kInteger = 1, kString = 2 };

    // One element: a container of children or a leaf holding an integer or a text.
    struct Element {
        int id = 0;
        int type = kContainer;  // a data type of the answer; others than the three above travel too
        long number = 0;
        std::string text;
        std::vector<Element> children;
        long claimedCount = -1;  // sent instead of the number of children when not negative
        long claimedLength = -1; // sent instead of the container's length when not negative
        bool rawValue = false;   // the leaf's value is |text| as it is, whatever its type

        // Adds a child container with element id |childId| and returns it.
        Element& container(int childId);
        // Adds an integer leaf; returns this element, for chaining.
        Element& integer(int childId, long value);
        // Adds a text leaf; returns this element, for chaining.
        Element& string(int childId, const std::string& value);
    };

    // Stand-alone elements, for trees built in one expression.
    static Element node(int id, std::vector<Element> children);
    static Element number(int id, long value);
    static Element text(int id, const std::string& value);
    // A leaf of data type |type| whose value is |bytes|, for answers that break the rules.
    static Element raw(int id, int type, const std::string& bytes);

    // The header text that declares |widths|, padded with NULs to its fixed 34 bytes.
    static std::string headerString(const ContainerWidths& widths);
    // Appends the encoding of |element| under |widths|. Returns 0, or -1 with |error| set when
    // a count or length does not fit its field.
    static int encode(const Element& element, const ContainerWidths& widths, std::string& out,
                      std::string& error);

    static constexpr size_t kHeaderStringSize = 34;
};
