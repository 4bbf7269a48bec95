// SupplyNameEncoder: turns the supply names a printer reports into a "marker-names" value.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// cupsd reads an "ATTR: " line in two passes. Its option parser takes "marker-names=VALUE"
// apart, treating apostrophes, double quotation marks and backslashes as quoting; then it
// splits VALUE into one name per comma, treating them as quoting again. A supply name is
// text from the device and so hostile: written plainly, a quotation mark or backslash in it
// ends the quoting early. That truncates the name, shifts every later name against its
// level, and lets the printer append "keyword=value" pairs of its own to the line, which
// cupsd applies to the queue (printer-alert, and auth-info-required, which it saves).
// A line break or other control character would end the line early or split it.
// The encoding below protects against all of that:
// - every name is quoted so that both passes give back exactly its text, whatever
//   apostrophes, quotation marks, backslashes, commas or equals signs it holds; cupsd can
//   carry each of them, so no character is replaced by a look-alike;
// - a name ends at its first NUL byte (printers pad fixed-width names with NULs);
// - bytes that are not UTF-8 are replaced, because IPP clients reject an answer holding
//   them, and control characters (C0 and DEL) become spaces;
// - a name is at most 255 bytes long, the longest name value IPP allows;
// - names that need none of this keep the established '"name"' form byte for byte.
class SupplyNameEncoder {
public:
    // Longest name value, in bytes, that IPP clients accept.
    static constexpr std::size_t kMaxNameBytes = 255;

    // The printer's name as cupsd and IPP clients can carry it: cut at the first NUL, each
    // byte that is not part of a valid UTF-8 sequence replaced by U+FFFD, control
    // characters replaced by a space, and cut to kMaxNameBytes at a character boundary.
    static std::string cleanName(const std::string& raw);

    // One cleaned name in the quoting that both of cupsd's passes undo: '"name"' when the
    // name holds no double quotation mark, else every quote, backslash and comma escaped.
    static std::string quoteName(const std::string& name);

    // The quoted names joined by commas. When that is longer than |maxBytes|, the longest
    // names are cut (at a character boundary) to one common length, the longest that lets
    // the value fit; no name is dropped. The result is longer than |maxBytes| only when
    // even empty names do not fit.
    static std::string joinNames(const std::vector<std::string>& names, std::size_t maxBytes);

private:
    // |name| cut at a character boundary to the longest prefix whose quoted form is at most
    // |quotedBytes| long (empty when even the empty name's form is longer).
    static std::string fitName(const std::string& name, std::size_t quotedBytes);
};
