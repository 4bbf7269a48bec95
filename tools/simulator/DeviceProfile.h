// DeviceProfile: everything a simulated printer reports, as loaded from a profile file.
#pragma once

#include <map>
#include <string>
#include <vector>

// Three-way state of a unit that a printer may or may not mention in its answers.
enum class ReportedState { kInstalled, kAbsent, kNotReported };

// One input tray or feeder, one output bin, or one finisher.
struct ProfileUnit {
    int id = 0;
    std::string name;       // device text, already encoded in the profile's code page
    std::string snmpName;   // the name reported through SNMP (ASCII, compared exactly by hosts)
    int capacity = 0;       // sheets; 0 leaves the capacity leaf out
};

struct ProfileFinisher {
    int id = 0;
    std::string name;
    std::string snmpName;
    std::vector<ProfileUnit> bins;  // bins mounted on this finisher
};

// Printer MIB supply units: the counts of a capacity and a level.
constexpr int kMibUnitImpressions = 7;
constexpr int kMibUnitPercent = 19;

struct ProfileSupply {
    int id = 0;                          // fixed supply id as the printer numbers it
    int type = 0;                        // supply type in the printer's numbering
    std::string name;                    // default-language name, encoded
    std::map<int, std::string> names;    // language id -> encoded name
    std::string partNumber;              // encoded
    int maxCapacity = 0;
    int level = 0;
    std::string colorant;                // "black", "cyan", ... ; empty for none
    int mibType = 1;                     // Printer MIB supply type
    int mibClass = 3;                    // Printer MIB supply class
    int mibUnit = kMibUnitPercent;       // Printer MIB supply unit
};

// A value served through SNMP.
struct ProfileSnmpValue {
    enum Kind { kInteger, kString, kCounter } kind = kString;
    long number = 0;
    std::string text;  // encoded
};

// Widths of the container fields, as the answer's header string declares them.
struct ContainerWidths {
    int id = 1;
    int type = 1;
    int count = 1;
    int containerLength = 2;
    int leafLength = 2;
};

class DeviceProfile {
public:
    std::string manufacturer = "Simulated";
    std::string model;
    std::string deviceId;      // IEEE 1284 device id; derived from the model when empty
    int codePage = 0;          // IANA character-set number; 0: not reported
    std::string encoding = "UTF-8";  // iconv name of the code page

    std::vector<ProfileUnit> inputs;   // trays first, then feeders, in unit order
    std::vector<ProfileUnit> bins;     // bins of the printer's own output unit
    std::vector<ProfileFinisher> finishers;
    ReportedState duplex = ReportedState::kNotReported;
    std::string duplexSnmpName = "Duplex Paper Path";
    ReportedState flash = ReportedState::kNotReported;
    std::map<std::string, long> optionPairs;  // further pairs of the option text

    std::vector<ProfileSupply> supplies;
    std::vector<int> languages;  // language ids accepted for supply names; empty: all

    std::string snmpCommunity;   // empty: any community is answered
    bool snmpDerive = true;      // derive SNMP values from the hardware above
    std::vector<std::string> privatePrefixes = {".1.3.6.1.4.1.7707.6.3.1.1.8.1"};
    std::vector<std::string> privateTable;  // explicit option names; empty: derived
    std::map<std::string, ProfileSnmpValue> snmpValues;  // OID -> value overrides
    enum class UnknownOidPolicy { kEmptyString, kStandard } unknownOids = UnknownOidPolicy::kEmptyString;

    ContainerWidths widths;

    // The device id string, derived from manufacturer and model when none was given.
    std::string deviceIdString() const;
    // The supply's name in language |languageId|, falling back to its default name.
    static const std::string& supplyName(const ProfileSupply& supply, int languageId);
    // True when supply names may be asked for in |languageId|.
    bool acceptsLanguage(int languageId) const;
};
