// ProfileLoader: reads a YAML device profile into a DeviceProfile, with clear error messages.
#include "ProfileLoader.h"

#include <yaml-cpp/yaml.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include "CodePageEncoder.h"

namespace {

// Texts served through SNMP carry a one-byte length, so they stay below 128 bytes.
constexpr size_t kMaxTextLength = 127;

// A problem found in the profile, located at a node.
struct ProfileError : std::runtime_error {
    ProfileError(const YAML::Node& node, const std::string& message)
        : std::runtime_error(message), line(node.Mark().line >= 0 ? node.Mark().line + 1 : 0) {}
    int line;
};

class Reader {
public:
    explicit Reader(DeviceProfile& profile) : profile_(profile) {}

    void read(const YAML::Node& root) {
        if (!root.IsMap()) {
            throw ProfileError(root, "a profile is a mapping of keys such as model, trays and supplies");
        }
        checkKeys(root, {"manufacturer", "model", "device_id", "code_page", "encoding", "trays",
                         "feeders", "bins", "finishers", "duplex", "flash", "options", "languages",
                         "supplies", "snmp", "container"},
                  "profile");
        if (!root["model"]) {
            throw ProfileError(root, "the key \"model\" is missing");
        }
        profile_.model = scalar(root["model"], "model");
        if (root["manufacturer"]) {
            profile_.manufacturer = scalar(root["manufacturer"], "manufacturer");
        }
        if (root["device_id"]) {
            profile_.deviceId = scalar(root["device_id"], "device_id");
        }
        readCodePage(root);
        readUnits(root["trays"], "trays", profile_.inputs);
        readUnits(root["feeders"], "feeders", profile_.inputs);
        readUnits(root["bins"], "bins", profile_.bins);
        readFinishers(root["finishers"]);
        readDuplex(root["duplex"]);
        if (root["flash"]) {
            profile_.flash = state(root["flash"], "flash");
        }
        readOptions(root["options"]);
        readLanguages(root["languages"]);
        readSupplies(root["supplies"]);
        readSnmp(root["snmp"]);
        readWidths(root["container"]);
    }

private:
    static void checkKeys(const YAML::Node& map, const std::set<std::string>& known,
                          const std::string& where) {
        for (const auto& entry : map) {
            std::string key = entry.first.as<std::string>();
            if (!known.count(key)) {
                std::string list;
                for (const auto& k : known) {
                    list += (list.empty() ? "" : ", ") + k;
                }
                throw ProfileError(entry.first, "unknown key \"" + key + "\" in " + where +
                                                    " (known keys: " + list + ")");
            }
        }
    }

    static std::string scalar(const YAML::Node& node, const std::string& what) {
        if (!node.IsScalar()) {
            throw ProfileError(node, what + " must be a single value");
        }
        return node.as<std::string>();
    }

    static long number(const YAML::Node& node, const std::string& what) {
        std::string text = scalar(node, what);
        try {
            size_t used = 0;
            long value = std::stol(text, &used, 0);
            if (used == text.size()) {
                return value;
            }
        } catch (const std::exception&) {
        }
        throw ProfileError(node, what + " must be a whole number, not \"" + text + "\"");
    }

    static long numberInRange(const YAML::Node& node, const std::string& what, long low, long high) {
        long value = number(node, what);
        if (value < low || value > high) {
            throw ProfileError(node, what + " must lie between " + std::to_string(low) + " and " +
                                         std::to_string(high) + ", not " + std::to_string(value));
        }
        return value;
    }

    static ReportedState state(const YAML::Node& node, const std::string& what) {
        std::string text = scalar(node, what);
        if (text == "installed" || text == "true" || text == "yes") {
            return ReportedState::kInstalled;
        }
        if (text == "absent" || text == "false" || text == "no") {
            return ReportedState::kAbsent;
        }
        if (text == "not-reported") {
            return ReportedState::kNotReported;
        }
        throw ProfileError(node, what + " must be installed, absent or not-reported, not \"" + text + "\"");
    }

    // The profile's UTF-8 text in the printer's code page.
    std::string text(const YAML::Node& node, const std::string& what) {
        std::string utf8 = scalar(node, what);
        std::string encoded;
        std::string why;
        if (CodePageEncoder::encode(utf8, profile_.encoding, encoded, why) != 0) {
            throw ProfileError(node, what + ": " + why);
        }
        if (encoded.size() > kMaxTextLength) {
            throw ProfileError(node, what + " is " + std::to_string(encoded.size()) +
                                         " bytes long; texts are limited to 127 bytes");
        }
        return encoded;
    }

    // Bytes given as hexadecimal digits (spaces allowed between bytes), sent as they are:
    // for texts no code page produces, such as NUL padding or bytes that are not UTF-8.
    static std::string rawBytes(const YAML::Node& node, const std::string& what) {
        std::string digits;
        for (char c : scalar(node, what)) {
            if (c == ' ') {
                continue;
            }
            if (!std::isxdigit(static_cast<unsigned char>(c))) {
                throw ProfileError(node, what + " holds '" + std::string(1, c) + "', not a hexadecimal digit");
            }
            digits += c;
        }
        if (digits.size() % 2 != 0) {
            throw ProfileError(node, what + " has an odd number of hexadecimal digits");
        }
        std::string bytes;
        for (size_t i = 0; i < digits.size(); i += 2) {
            bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
        }
        if (bytes.size() > kMaxTextLength) {
            throw ProfileError(node, what + " is " + std::to_string(bytes.size()) +
                                         " bytes long; texts are limited to 127 bytes");
        }
        return bytes;
    }

    void readCodePage(const YAML::Node& root) {
        if (root["encoding"]) {
            profile_.encoding = scalar(root["encoding"], "encoding");
            std::string probe;
            std::string why;
            if (CodePageEncoder::encode("A", profile_.encoding, probe, why) != 0) {
                throw ProfileError(root["encoding"], why);
            }
        }
        if (!root["code_page"]) {
            return;
        }
        profile_.codePage = static_cast<int>(numberInRange(root["code_page"], "code_page", 1, 65535));
        if (!root["encoding"]) {
            profile_.encoding = CodePageEncoder::encodingForCodePage(profile_.codePage);
            if (profile_.encoding.empty()) {
                throw ProfileError(root["code_page"],
                                   "code page " + std::to_string(profile_.codePage) +
                                       " is not one the simulator knows; name its iconv encoding "
                                       "with the key \"encoding\"");
            }
        }
    }

    static std::string defaultInputName(int id) {
        static const std::map<int, std::string> kNames = {
            {128, "Manual Paper"}, {129, "Manual Envelope"}, {130, "Feeder"}, {131, "MP Tray"}};
        if (id >= 1 && id <= 5) {
            return "Tray " + std::to_string(id);
        }
        auto it = kNames.find(id);
        return it == kNames.end() ? std::string() : it->second;
    }

    static std::string defaultBinName(int id) {
        if (id == 1) {
            return "Standard Bin";
        }
        return id >= 2 ? "Bin " + std::to_string(id - 1) : std::string();
    }

    static std::string defaultFinisherName(int id) {
        if (id == 12) {
            return "Finisher Unit";
        }
        return id == 22 ? "Booklet Finisher Unit" : std::string();
    }

    ProfileUnit unit(const YAML::Node& node, const std::string& where, bool isBin) {
        if (!node.IsMap()) {
            throw ProfileError(node, "each entry of " + where + " is a mapping with id and name");
        }
        checkKeys(node, {"id", "name", "snmp_name", "capacity"}, where);
        if (!node["id"]) {
            throw ProfileError(node, "an entry of " + where + " has no id");
        }
        ProfileUnit unit;
        unit.id = static_cast<int>(numberInRange(node["id"], where + " id", 0, 255));
        std::string fallback = isBin ? defaultBinName(unit.id) : defaultInputName(unit.id);
        unit.snmpName = node["snmp_name"] ? text(node["snmp_name"], where + " snmp_name") : fallback;
        if (node["name"]) {
            unit.name = text(node["name"], where + " name");
        } else if (!unit.snmpName.empty()) {
            unit.name = unit.snmpName;
        } else {
            throw ProfileError(node, "the entry of " + where + " with id " + std::to_string(unit.id) +
                                         " needs a name");
        }
        if (unit.snmpName.empty()) {
            unit.snmpName = unit.name;
        }
        if (node["capacity"]) {
            unit.capacity = static_cast<int>(numberInRange(node["capacity"], where + " capacity", 0, 1000000));
        }
        return unit;
    }

    void readUnits(const YAML::Node& list, const std::string& where, std::vector<ProfileUnit>& out) {
        if (!list) {
            return;
        }
        if (!list.IsSequence()) {
            throw ProfileError(list, where + " must be a list");
        }
        for (const auto& node : list) {
            out.push_back(unit(node, where, where == "bins" || where == "finisher bins"));
        }
    }

    void readFinishers(const YAML::Node& list) {
        if (!list) {
            return;
        }
        if (!list.IsSequence()) {
            throw ProfileError(list, "finishers must be a list");
        }
        for (const auto& node : list) {
            if (!node.IsMap() || !node["id"]) {
                throw ProfileError(node, "each finisher is a mapping with at least an id");
            }
            checkKeys(node, {"id", "name", "snmp_name", "bins"}, "finishers");
            ProfileFinisher finisher;
            finisher.id = static_cast<int>(numberInRange(node["id"], "finisher id", 0, 255));
            finisher.snmpName = node["snmp_name"] ? text(node["snmp_name"], "finisher snmp_name")
                                                  : defaultFinisherName(finisher.id);
            finisher.name = node["name"] ? text(node["name"], "finisher name") : finisher.snmpName;
            if (finisher.name.empty()) {
                throw ProfileError(node, "the finisher with id " + std::to_string(finisher.id) + " needs a name");
            }
            if (finisher.snmpName.empty()) {
                finisher.snmpName = finisher.name;
            }
            readUnits(node["bins"], "finisher bins", finisher.bins);
            profile_.finishers.push_back(finisher);
        }
    }

    void readDuplex(const YAML::Node& node) {
        if (!node) {
            return;
        }
        if (node.IsMap()) {
            checkKeys(node, {"state", "snmp_name"}, "duplex");
            if (!node["state"]) {
                throw ProfileError(node, "duplex needs a state");
            }
            profile_.duplex = state(node["state"], "duplex state");
            if (node["snmp_name"]) {
                profile_.duplexSnmpName = text(node["snmp_name"], "duplex snmp_name");
            }
            return;
        }
        profile_.duplex = state(node, "duplex");
    }

    void readOptions(const YAML::Node& node) {
        if (!node) {
            return;
        }
        if (!node.IsMap()) {
            throw ProfileError(node, "options must map names to numbers");
        }
        for (const auto& entry : node) {
            std::string name = entry.first.as<std::string>();
            if (name.find_first_of(":;") != std::string::npos) {
                throw ProfileError(entry.first, "option name \"" + name + "\" may not hold ':' or ';'");
            }
            profile_.optionPairs[name] = number(entry.second, "option " + name);
        }
    }

    static int language(const YAML::Node& node) {
        std::string code = scalar(node, "language");
        int id = ProfileLoader::languageIdForCode(code);
        if (id >= 0) {
            return id;
        }
        return static_cast<int>(numberInRange(node, "language id", 0, 255));
    }

    void readLanguages(const YAML::Node& list) {
        if (!list) {
            return;
        }
        if (!list.IsSequence()) {
            throw ProfileError(list, "languages must be a list of language codes or ids");
        }
        for (const auto& node : list) {
            profile_.languages.push_back(language(node));
        }
    }

    void readSupplies(const YAML::Node& list) {
        if (!list) {
            return;
        }
        if (!list.IsSequence()) {
            throw ProfileError(list, "supplies must be a list");
        }
        for (const auto& node : list) {
            if (!node.IsMap()) {
                throw ProfileError(node, "each supply is a mapping");
            }
            checkKeys(node, {"id", "type", "name", "name_hex", "names", "part_number", "max", "level",
                             "colorant", "mib_type", "mib_class", "mib_unit"},
                      "supplies");
            for (const char* key : {"id", "type", "max", "level"}) {
                if (!node[key]) {
                    throw ProfileError(node, std::string("a supply has no ") + key);
                }
            }
            if (!node["name"] && !node["name_hex"]) {
                throw ProfileError(node, "a supply has no name");
            }
            if (node["name"] && node["name_hex"]) {
                throw ProfileError(node, "a supply has a name or a name_hex, not both");
            }
            ProfileSupply supply;
            supply.id = static_cast<int>(numberInRange(node["id"], "supply id", 0, 255));
            supply.type = static_cast<int>(numberInRange(node["type"], "supply type", 0, 255));
            supply.name = node["name"] ? text(node["name"], "supply name")
                                       : rawBytes(node["name_hex"], "name_hex");
            if (node["names"]) {
                if (!node["names"].IsMap()) {
                    throw ProfileError(node["names"], "names maps language codes to names");
                }
                for (const auto& entry : node["names"]) {
                    supply.names[language(entry.first)] = text(entry.second, "supply name");
                }
            }
            if (node["part_number"]) {
                supply.partNumber = text(node["part_number"], "part_number");
            }
            supply.maxCapacity = static_cast<int>(numberInRange(node["max"], "max", -2, 2147483647));
            supply.level = static_cast<int>(numberInRange(node["level"], "level", -3, 2147483647));
            if (node["colorant"]) {
                supply.colorant = scalar(node["colorant"], "colorant");
            }
            if (node["mib_type"]) {
                supply.mibType = static_cast<int>(numberInRange(node["mib_type"], "mib_type", 1, 255));
            }
            supply.mibClass = supply.mibType == 4 ? 4 : 3;
            if (node["mib_class"]) {
                supply.mibClass = static_cast<int>(numberInRange(node["mib_class"], "mib_class", 1, 4));
            }
            // A capacity of 100 is counted in percent; any other in impressions, as printers
            // count the life of drums and fusers.
            supply.mibUnit = supply.maxCapacity == 100 ? kMibUnitPercent : kMibUnitImpressions;
            if (node["mib_unit"]) {
                supply.mibUnit = static_cast<int>(numberInRange(node["mib_unit"], "mib_unit", 1, 255));
            }
            profile_.supplies.push_back(supply);
        }
    }

    static std::string normaliseOid(const YAML::Node& node, const std::string& text) {
        std::string oid = text.empty() || text[0] == '.' ? text : "." + text;
        if (oid.size() < 4 || oid.find_first_not_of(".0123456789") != std::string::npos ||
            oid.find("..") != std::string::npos || oid.back() == '.') {
            throw ProfileError(node, "\"" + text + "\" is not a dotted object identifier");
        }
        return oid;
    }

    void readSnmp(const YAML::Node& node) {
        if (!node) {
            return;
        }
        if (!node.IsMap()) {
            throw ProfileError(node, "snmp must be a mapping");
        }
        checkKeys(node, {"community", "derive", "unknown_oids", "private_prefixes", "private_table", "values"},
                  "snmp");
        if (node["community"]) {
            profile_.snmpCommunity = scalar(node["community"], "community");
        }
        if (node["derive"]) {
            profile_.snmpDerive = node["derive"].as<bool>();
        }
        if (node["unknown_oids"]) {
            std::string policy = scalar(node["unknown_oids"], "unknown_oids");
            if (policy == "empty-string") {
                profile_.unknownOids = DeviceProfile::UnknownOidPolicy::kEmptyString;
            } else if (policy == "standard") {
                profile_.unknownOids = DeviceProfile::UnknownOidPolicy::kStandard;
            } else {
                throw ProfileError(node["unknown_oids"], "unknown_oids must be empty-string or standard");
            }
        }
        if (node["private_prefixes"]) {
            profile_.privatePrefixes.clear();
            for (const auto& prefix : node["private_prefixes"]) {
                std::string value = scalar(prefix, "private prefix");
                if (value == "7707") {
                    value = ".1.3.6.1.4.1.7707.6.3.1.1.8.1";
                } else if (value == "5931") {
                    value = ".1.3.6.1.4.1.5931.20480.100.6.3.1.1.8.1";
                }
                profile_.privatePrefixes.push_back(normaliseOid(prefix, value));
            }
        }
        if (node["private_table"]) {
            for (const auto& entry : node["private_table"]) {
                profile_.privateTable.push_back(text(entry, "private_table entry"));
            }
        }
        if (node["values"]) {
            if (!node["values"].IsMap()) {
                throw ProfileError(node["values"], "values maps object identifiers to values");
            }
            for (const auto& entry : node["values"]) {
                std::string oid = normaliseOid(entry.first, entry.first.as<std::string>());
                profile_.snmpValues[oid] = snmpValue(entry.second);
            }
        }
    }

    ProfileSnmpValue snmpValue(const YAML::Node& node) {
        ProfileSnmpValue value;
        if (node.IsMap()) {
            checkKeys(node, {"integer", "string", "counter"}, "an SNMP value");
            if (node["integer"]) {
                value.kind = ProfileSnmpValue::kInteger;
                value.number = numberInRange(node["integer"], "integer", -2147483648L, 2147483647L);
            } else if (node["counter"]) {
                value.kind = ProfileSnmpValue::kCounter;
                value.number = numberInRange(node["counter"], "counter", 0, 4294967295L);
            } else if (node["string"]) {
                value.text = text(node["string"], "string value");
            } else {
                throw ProfileError(node, "an SNMP value needs integer, string or counter");
            }
            return value;
        }
        // A plain scalar: quoted text stays a string, an unquoted number is an INTEGER.
        if (node.Tag() != "!" ) {
            std::string raw = scalar(node, "SNMP value");
            try {
                size_t used = 0;
                long n = std::stol(raw, &used, 10);
                if (used == raw.size()) {
                    value.kind = ProfileSnmpValue::kInteger;
                    value.number = n;
                    return value;
                }
            } catch (const std::exception&) {
            }
        }
        value.text = text(node, "SNMP value");
        return value;
    }

    void readWidths(const YAML::Node& node) {
        if (!node) {
            return;
        }
        checkKeys(node, {"id_width", "type_width", "count_width", "container_length_width", "leaf_length_width"},
                  "container");
        ContainerWidths& w = profile_.widths;
        if (node["id_width"]) w.id = static_cast<int>(numberInRange(node["id_width"], "id_width", 1, 4));
        if (node["type_width"]) w.type = static_cast<int>(numberInRange(node["type_width"], "type_width", 1, 4));
        if (node["count_width"]) w.count = static_cast<int>(numberInRange(node["count_width"], "count_width", 1, 4));
        if (node["container_length_width"])
            w.containerLength = static_cast<int>(numberInRange(node["container_length_width"], "container_length_width", 1, 4));
        if (node["leaf_length_width"])
            w.leafLength = static_cast<int>(numberInRange(node["leaf_length_width"], "leaf_length_width", 0, 4));
    }

    DeviceProfile& profile_;
};

}  // namespace

int ProfileLoader::languageIdForCode(const std::string& code) {
    static const std::map<std::string, int> kLanguages = {
        {"en_US", 0}, {"de", 1},     {"fr", 2},     {"fr_CA", 3}, {"es", 4},  {"it", 5},
        {"da", 6},    {"no", 7},     {"nl", 8},     {"ja", 9},    {"ko", 10}, {"zh_TW", 11},
        {"zh_CN", 12}, {"sv", 13},   {"fi", 15},    {"pt", 16},   {"ru", 17}, {"cs", 18},
        {"pl", 19},   {"hu", 20},    {"tr", 21},    {"el", 22},   {"ro", 24}, {"ar", 25},
        {"en", 0}};
    auto it = kLanguages.find(code);
    return it == kLanguages.end() ? -1 : it->second;
}

int ProfileLoader::loadText(const std::string& text, const std::string& origin, DeviceProfile& profile,
                            std::string& error) {
    profile = DeviceProfile();
    try {
        YAML::Node root = YAML::Load(text);
        Reader(profile).read(root);
        return 0;
    } catch (const ProfileError& e) {
        error = origin + ":" + std::to_string(e.line) + ": " + e.what();
    } catch (const YAML::Exception& e) {
        error = origin + ":" + std::to_string(e.mark.line + 1) + ": " + e.msg;
    } catch (const std::exception& e) {
        error = origin + ": " + e.what();
    }
    return -1;
}

int ProfileLoader::loadFile(const std::string& path, DeviceProfile& profile, std::string& error) {
    errno = 0;
    std::ifstream in(path);
    if (!in) {
        // The reason matters to whoever reads it in a queue's state: a missing file and one
        // that the spooler's user may not read look alike otherwise.
        int reason = errno;
        error = path + ": cannot be opened";
        if (reason != 0) {
            error += std::string(": ") + std::strerror(reason);
        }
        return -1;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return loadText(text.str(), path, profile, error);
}
