// PPDParser: maps what a parser knows to PPD keywords and supply marker attributes.
#include "ppd/PPDParser.h"

#include <cstdint>
#include <exception>
#include <vector>

#include "parser/Parser.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/SupplyNameEncoder.h"
#include "support/Logger.h"
#include "support/Utility.h"

namespace {

// Highest key of |ids| within [0, highest] that |accept| allows; false when there is none.
template <typename Accept>
bool bestId(const std::map<int, std::string>& ids, int highest, Accept accept, int& best) {
    bool found = false;
    best = 0;
    for (const auto& entry : ids) {
        int key = entry.first;
        if (best <= key && key <= highest && accept(key)) {
            best = key;
            found = true;
        }
    }
    return found;
}

// Percentage of |current| in |maximum| as 32-bit signed arithmetic gives it (the product
// wraps instead of being undefined).
int32_t levelPercent(int32_t current, int32_t maximum) {
    int32_t product = static_cast<int32_t>(static_cast<uint32_t>(current) * 100u);
    return product / maximum;
}

// Sets |keyword| to the entry of |table| for |key|; false when there is none or it could
// not be stored.
bool assignFromMap(const std::map<int, std::string>& table, int key, const char* keyword,
                   PPDKeywordMap& keywords) {
    try {
        auto value = table.find(key);
        if (value == table.end()) {
            return false;
        }
        keywords[keyword] = value->second;
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

PPDParser::PPDParser() {
    createRequestTypeMap();
    createCupsSpecificInfoMap();
    createDeviceConfigurationMap();
}

PPDParser::~PPDParser() = default;

int PPDParser::createRequestTypeMap() {
    requestTypeMap_[REQ_SUPPLY_LEVELS] = &PPDParser::getSupply;
    requestTypeMap_[REQ_INSTALLABLE_OPTIONS] = &PPDParser::getInstallableOptions;
    requestTypeMap_[REQ_DUPLEX_OPTIONS] = &PPDParser::getDuplexOptions;
    return 0;
}

int PPDParser::createCupsSpecificInfoMap() {
    createCUPSSupplyTypeMap();
    createCUPSColorMap();
    return 0;
}

int PPDParser::createCUPSSupplyTypeMap() {
    supplyTypeMap_ = {{1, "toner"}, {2, "toner"}, {3, "toner"}, {4, "opc"},
                      {5, "fuser"}, {6, "ink"},   {7, "other"}};
    return 0;
}

int PPDParser::createCUPSColorMap() {
    // Black, cyan, magenta, yellow per group of supply ids; the last group has no yellow
    // and lists magenta before cyan.
    colorMap_ = {{1, "#000000"},  {2, "#00FFFF"},  {3, "#FF00FF"},  {4, "#FFFF00"},
                 {16, "#000000"}, {17, "#00FFFF"}, {18, "#FF00FF"}, {19, "#FFFF00"},
                 {64, "#000000"}, {65, "#00FFFF"}, {66, "#FF00FF"}, {67, "#FFFF00"},
                 {68, "#000000"}, {69, "#FF00FF"}, {70, "#00FFFF"}};
    return 0;
}

int PPDParser::createDeviceConfigurationMap() {
    createInputMap();
    createOutputMap();
    createDeviceUnitMap();
    createDuplexerMap();
    createFlashMap();
    createManualFeederMap();
    return 0;
}

int PPDParser::createInputMap() {
    // The value names the set of installed trays; 129 to 131 are listed but never chosen.
    inputMap_ = {{1, "Tray1"},          {2, "Tray12"},       {3, "Tray123"},
                 {4, "Tray1234"},       {5, "Tray12345"},    {129, "ManualEnvelope"},
                 {130, "EnvFeeder"},    {131, "MPFeeder"}};
    return 0;
}

int PPDParser::createOutputMap() {
    outputMap_[1] = "StandardBin";
    for (int id = 2; id <= 16; ++id) {
        outputMap_[id] = "OBin" + std::to_string(id - 1);
    }
    return 0;
}

int PPDParser::createDeviceUnitMap() {
    deviceUnitMap_ = {{0, "NotInstalledM"}, {12, "StandardFinisher"}, {22, "AdvancedFinisher"}};
    return 0;
}

int PPDParser::createDuplexerMap() {
    duplexerMap_ = {{1, "InstalledM"}, {0, "NotInstalledM"}};
    return 0;
}

int PPDParser::createFlashMap() {
    flashMap_ = {{1, "InstalledF"}, {0, "NotInstalledF"}};
    return 0;
}

int PPDParser::createManualFeederMap() {
    manualFeederMap_ = {{0, "NotInstalledM"}, {1, "InstalledM"}};
    return 0;
}

int PPDParser::createData(RequestType type, Parser* parser, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "createData");
    auto entry = requestTypeMap_.find(type);
    if (entry == requestTypeMap_.end()) {
        return -1;
    }
    logger.Log("Type =%d found in RequestType", static_cast<int>(type));
    try {
        return (this->*(entry->second))(parser, keywords);
    } catch (const std::exception&) {
        return -1;
    }
}

int PPDParser::getInstallableOptions(Parser* parser, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "getInstallableOptions");
    int result = -1;
    if (parser == nullptr) {
        return result;
    }
    try {
        std::map<int, std::string> trays;
        if (parser->getTrays(trays) != kParserStatusNotAvailable) {
            if (trays.empty()) {
                keywords["DefaultTrays"] = "Tray1";
            } else {
                setInputOption(trays, keywords);
            }
            result = 0;
        }
        logger.Log("Input Tray map size = %d", static_cast<int>(trays.size()));

        std::map<int, std::string> bins;
        if (parser->getBins(bins) != kParserStatusNotAvailable) {
            if (bins.empty()) {
                keywords["DefaultOptOutputBins"] = "StandardBin";
                result = 0;
            } else {
                result = setOutputOption(bins, keywords);
            }
        }
        logger.Log("Output Bin map size = %d", static_cast<int>(bins.size()));

        std::map<int, std::string> finishers;
        if (parser->getFinishers(finishers) != kParserStatusNotAvailable) {
            if (finishers.empty()) {
                keywords["DefaultOutputFinisher"] = "NotInstalledM";
                result = 0;
            } else {
                result = setDeviceUnitOption(finishers, keywords);
            }
        }
        logger.Log("Device Unit map size = %d", static_cast<int>(finishers.size()));

        int duplex = 0;
        if (parser->getDuplex(duplex) != kParserStatusNotAvailable) {
            setDuplexerOption(duplex, keywords);
        }
        int flash = 0;
        if (parser->getFLash(flash) != kParserStatusNotAvailable) {
            setFlashOption(flash, keywords);
        }
        int manualFeeder = 0;
        if (parser->getManualFeeder(manualFeeder) != kParserStatusNotAvailable) {
            setManualFeederOption(manualFeeder, keywords);
        }
        logger.Log("mManualfeeder = %d", manualFeeder);
    } catch (const std::exception&) {
        // Keep what was written; the result stands where it got to.
    }
    return result;
}

int PPDParser::getDuplexOptions(Parser* /*parser*/, PPDKeywordMap& /*keywords*/) {
    Logger logger("PPDParser", "getDuplexOptions");
    return 0;
}

int PPDParser::setInputOption(std::map<int, std::string> trays, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "setInputOption");
    int best = 0;
    if (bestId(trays, 5, [](int) { return true; }, best)) {
        assignFromMap(inputMap_, best, "DefaultTrays", keywords);
    }
    return 0;
}

int PPDParser::setOutputOption(std::map<int, std::string> bins, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "setOutputOption");
    // The range stops at 15 although the table goes to 16: bin 16 is never chosen.
    int best = 0;
    return bestId(bins, 15, [](int) { return true; }, best) &&
                   assignFromMap(outputMap_, best, "DefaultOptOutputBins", keywords)
               ? 0
               : -1;
}

int PPDParser::setDeviceUnitOption(std::map<int, std::string> finishers,
                                   PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "setDeviceUnitOption");
    int best = 0;
    return bestId(finishers, 22, [](int key) { return key == 12 || key == 22; }, best) &&
                   assignFromMap(deviceUnitMap_, best, "DefaultOutputFinisher", keywords)
               ? 0
               : -1;
}

int PPDParser::setDuplexerOption(int installed, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "setDuplexerOption");
    // An unknown duplex state counts as installed (flash treats unknown the other way).
    int state = installed == -1 ? 1 : installed;
    if (!assignFromMap(duplexerMap_, state, "DefaultOptDuplex", keywords)) {
        return -1;
    }
    if (state == 0) {
        keywords["DefaultDuplex"] = "None";
    }
    return 0;
}

int PPDParser::setFlashOption(int installed, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "setFlashOption");
    return assignFromMap(flashMap_, installed == -1 ? 0 : installed, "DefaultFlash", keywords) ? 0 : -1;
}

int PPDParser::setManualFeederOption(int installed, PPDKeywordMap& keywords) {
    // The trailing blank in the traced name is intended; existing logs carry it.
    Logger logger("PPDParser", "setManualFeederOption ");
    logger.Log("manualFeederOption : [%d]", installed);
    return assignFromMap(manualFeederMap_, installed, "DefaultEnvFeeder", keywords) ? 0 : -1;
}

int PPDParser::getSupply(Parser* parser, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "getSupply");
    if (parser == nullptr) {
        return -1;
    }
    std::list<supplyInfo_*> supplies;
    parser->getSupplyInfo(supplies);
    int result = supplies.empty() ? -1 : setSupplyInfo(supplies, keywords);
    logger.Log("Supply Map size = %d", static_cast<int>(keywords.size()));
    return result;
}

int PPDParser::setSupplyInfo(std::list<supplyInfo_*> supplies, PPDKeywordMap& keywords) {
    Logger logger("PPDParser", "setSupplyInfo");
    stateReasons_ = SupplyStateReasons();
    try {
        SupplyStateReasons reasons;
        std::vector<std::string> names;
        std::string levels;
        std::string types;
        std::string colors;
        SysOSType os = SYS_OS_OTHER;
        int major = 0;
        int minor = 0;
        Utility::getCurrentOSDetails(os, major, minor);

        for (const supplyInfo_* supply : supplies) {
            if (supply == nullptr || supply->supplyId == kHiddenSupplyId) {
                continue;
            }
            auto type = supplyTypeMap_.find(supply->type);
            if (type == supplyTypeMap_.end()) {
                continue;
            }
            auto color = colorMap_.find(supply->supplyId);
            colors += (color != colorMap_.end() ? color->second : "#000000") + ",";

            bool wasteToner = supply->supplyId == kWasteTonerSupplyId;
            std::string markerType = wasteToner ? std::string("wasteToner") : type->second;
            types += markerType + ",";

            names.push_back(SupplyNameEncoder::cleanName(supply->name));

            int32_t level = 0;
            if (supply->maxCapacity > 0) {
                level = levelPercent(supply->currentLevel, supply->maxCapacity);
                // Waste toner reports how much room is left, except on Darwin 8.
                if (wasteToner && !(os == SYS_OS_DARWIN && major == 8)) {
                    level = static_cast<int32_t>(100u - static_cast<uint32_t>(level));
                }
            }
            levels += std::to_string(level) + ",";
            reasons.addSupply(markerType, level, supply->maxCapacity > 0);
        }
        if (names.empty()) {
            return -1;
        }
        levels.pop_back();
        types.pop_back();
        colors.pop_back();

        keywords["marker-levels"] = levels;
        keywords["marker-types"] = types;
        keywords["marker-colors"] = colors;
        // The names get what is left of the spooler's line once everything else is on it;
        // long names are shortened rather than a supply dropped or the line cut.
        keywords["marker-names"] = std::string();
        const std::size_t limit = PPDStringModifier::kMaxLineBytes;
        std::size_t others = PPDStringModifier::lineLength(REQ_SUPPLY_LEVELS, keywords);
        std::string& namesValue = keywords["marker-names"];
        namesValue = SupplyNameEncoder::joinNames(names, others < limit ? limit - others : 0);
        logger.Log("SuppleName =%s, SupplyLevel=%s, SupplyType=%s SupplyColor=%s", namesValue.c_str(),
                   levels.c_str(), types.c_str(), colors.c_str());
        stateReasons_ = reasons;
    } catch (const std::exception&) {
        return -1;
    }
    return 0;
}
