// CUPSSNMPParser: turns the backend channel's Printer MIB walk lines into supply records.
#include "parser/CUPSSNMPParser.h"

#include <climits>
#include <cstdlib>
#include <exception>

#include "support/Logger.h"
#include "support/Utility.h"

namespace {

// Decimal value of |text| as atoi reads it (leading blanks, sign, digits); 0 when it is
// not a number, and clamped to the int range instead of overflowing.
int decimalValue(const std::string& text) {
    long long value = std::strtoll(text.c_str(), nullptr, 10);
    if (value > INT_MAX) {
        return INT_MAX;
    }
    if (value < INT_MIN) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

constexpr int kColourCyan = 'C';
constexpr int kColourMagenta = 'M';
constexpr int kColourYellow = 'Y';
constexpr int kColourBlack = 'K';

// Replaces |records| with one record per walked row, its columns handed to |fill| in
// order and numbered from 1.
template <typename Record>
void fillRecords(const std::map<int, std::list<std::string>>& rows,
                 void (Record::*fill)(int, const std::string&), std::map<int, Record>& records) {
    records.clear();
    for (const auto& row : rows) {
        Record record;
        int field = 1;
        for (const std::string& value : row.second) {
            (record.*fill)(field++, value);
        }
        records[row.first] = record;
    }
}

}  // namespace

const char* const CUPSSNMPParser::kGeneralEntry = ".1.3.6.1.2.1.43.5.1";
const char* const CUPSSNMPParser::kLocalizationEntry = ".1.3.6.1.2.1.43.7.1";
const char* const CUPSSNMPParser::kMarkerSuppliesEntry = ".1.3.6.1.2.1.43.11.1";
const char* const CUPSSNMPParser::kMarkerColorantEntry = ".1.3.6.1.2.1.43.12.1";

// ---------------------------------------------------------------------------------------
// Row records

void SNMPGeneralInfo_::fillGeneralInfo(int field, const std::string& value) {
    if (field == 1) {
        configChanges = value;
    } else if (field == 2) {
        currentLocalization = decimalValue(value);
    }
}

void SNMPLocalizationInfo_::fillLocalizationInfo(int field, const std::string& value) {
    if (field == 1) {
        language = value;
    } else if (field == 2) {
        country = value;
    } else if (field == 3) {
        characterSet = decimalValue(value);
    }
}

void SNMPMarkerColorantInfo_::fillMarkerColorantInfo(int field, const std::string& text) {
    switch (field) {
        case 1: markerIndex = text; break;
        case 2: role = text; break;
        case 3: value = text; break;
        case 4: tonality = text; break;
        default: break;
    }
}

void SNMPMarkerSuppliesInfo_::fillSNMPMarkerSuppliesInfo(int field, const std::string& value) {
    switch (field) {
        case 1: markerIndex = value; break;
        case 2: colorantIndex = value; break;
        case 3: supplyClass = value; break;
        case 4: type = value; break;
        case 5: description = value; break;
        case 6: supplyUnit = value; break;
        case 7: maxCapacity = value; break;
        case 8:
            // The MIB's negative special levels (unknown, some remaining, ...) all read as 0.
            level = value.find('-') != std::string::npos ? "0" : value;
            break;
        default: break;
    }
}

// ---------------------------------------------------------------------------------------
// Parser

CUPSSNMPParser::CUPSSNMPParser() = default;

CUPSSNMPParser::~CUPSSNMPParser() = default;

int CUPSSNMPParser::parseData(Data* answer, CommandID /*id*/) {
    Logger logger("CUPSSNMPParser", "parseData");
    if (answer == nullptr) {
        return -1;
    }
    try {
        std::string text;
        if (answer->get() != nullptr && answer->size() > 0) {
            text.assign(reinterpret_cast<const char*>(answer->get()), static_cast<size_t>(answer->size()));
        }
        size_t start = 0;
        while (start < text.size()) {
            size_t end = text.find('\n', start);
            if (end == std::string::npos) {
                end = text.size();
            }
            std::string line = text.substr(start, end - start);
            logger.Log("Line = %s", line.c_str());
            parseLine(line, logger);
            start = end + 1;
        }
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

void CUPSSNMPParser::parseLine(const std::string& line, Logger& logger) {
    size_t equals = line.find('=');
    if (equals == std::string::npos) {
        return;
    }
    std::string oid = line.substr(0, equals);
    size_t valueEnd = line.find('=', equals + 1);
    std::string value = line.substr(equals + 1, valueEnd == std::string::npos ? std::string::npos
                                                                               : valueEnd - equals - 1);
    logger.Log("OID = %s, Value = %s", oid.c_str(), value.c_str());

    size_t lastDot = oid.rfind('.');
    int row = decimalValue(lastDot == std::string::npos ? oid : oid.substr(lastDot + 1));

    for (const char* entry : {kGeneralEntry, kLocalizationEntry, kMarkerSuppliesEntry, kMarkerColorantEntry}) {
        if (line.find(entry) != std::string::npos) {
            insertSNMPResponseMap(entry, row, value);
            return;
        }
    }
}

int CUPSSNMPParser::insertSNMPResponseMap(const std::string& entry, int row, const std::string& value) {
    Logger logger("CUPSSNMPParser", "insertSNMPResponseMap");
    RowMap& rows = responseMap_[entry];
    rows[row].push_back(value);
    logger.Log("mapMarkerSuppliesInfo_ size is = %d", static_cast<int>(rows.size()));
    return 0;
}

CUPSSNMPParser::RowMap CUPSSNMPParser::getSNMPResponseMap(const std::string& entry) const {
    auto it = responseMap_.find(entry);
    return it == responseMap_.end() ? RowMap() : it->second;
}

int CUPSSNMPParser::initLocalizationStructMap() {
    fillRecords(getSNMPResponseMap(kLocalizationEntry),
                &SNMPLocalizationInfo_::fillLocalizationInfo, localizationInfo_);
    return 0;
}

int CUPSSNMPParser::initGeneralStructMap() {
    Logger logger("CUPSSNMPParser", "initGeneralStructMap");
    fillRecords(getSNMPResponseMap(kGeneralEntry),
                &SNMPGeneralInfo_::fillGeneralInfo, generalInfo_);
    // The current localization names the localization row whose character set the
    // printer's texts use; the localization rows are built first for this.
    for (const auto& general : generalInfo_) {
        auto localization = localizationInfo_.find(general.second.currentLocalization);
        if (localization != localizationInfo_.end()) {
            codePage_ = localization->second.characterSet;
            logger.Log("iSNMPCurrentLocalization = %d", general.second.currentLocalization);
        }
    }
    return 0;
}

int CUPSSNMPParser::initMarkerColorantStructMap() {
    fillRecords(getSNMPResponseMap(kMarkerColorantEntry),
                &SNMPMarkerColorantInfo_::fillMarkerColorantInfo, colorantInfo_);
    return 0;
}

int CUPSSNMPParser::initMarkerSuppliesStructMap() {
    fillRecords(getSNMPResponseMap(kMarkerSuppliesEntry),
                &SNMPMarkerSuppliesInfo_::fillSNMPMarkerSuppliesInfo, suppliesInfo_);
    return 0;
}

int CUPSSNMPParser::mapSNMPtoNPASuppType(int mibType) {
    switch (mibType) {
        case 1: return 7;   // other
        case 3: return 3;   // toner
        case 4: return 7;   // waste toner
        case 5: return 6;   // ink
        case 6: return 6;   // ink cartridge
        case 9: return 4;   // opc
        case 15: return 5;  // fuser
        case 32: return 7;
        default: return 0;
    }
}

int CUPSSNMPParser::isCMYK(const std::string& colorantIndex) {
    Logger logger("CUPSSNMPParser", "isCMYK");
    auto it = colorantInfo_.find(decimalValue(colorantIndex));
    if (it == colorantInfo_.end()) {
        return kColourBlack;
    }
    const std::string& colour = it->second.value;
    logger.Log("colorValue = %s", colour.c_str());
    if (colour == "cyan") {
        return kColourCyan;
    }
    if (colour == "magenta") {
        return kColourMagenta;
    }
    if (colour == "yellow") {
        return kColourYellow;
    }
    return kColourBlack;
}

int CUPSSNMPParser::mapSNMPtoNPAFixedID(const std::string& colorantIndex, int mibType) {
    // Ids per colour K, C, M, Y. A magenta drum shares id 3 with magenta toner; that is
    // the numbering the supply report expects.
    static const int kTonerIds[4] = {1, 2, 3, 4};
    static const int kInkIds[4] = {64, 65, 66, 67};
    static const int kDrumIds[4] = {16, 17, 3, 19};

    const int* ids = nullptr;
    switch (mibType) {
        case 3: ids = kTonerIds; break;
        case 5:
        case 6: ids = kInkIds; break;
        case 9: ids = kDrumIds; break;
        case 4: return 112;  // waste toner, whatever its colour
        default: return 255;
    }
    switch (isCMYK(colorantIndex)) {
        case kColourCyan: return ids[1];
        case kColourMagenta: return ids[2];
        case kColourYellow: return ids[3];
        default: return ids[0];
    }
}

int CUPSSNMPParser::getSupplyInfo(std::list<supplyInfo_*>& supplies) {
    Logger logger("CUPSSNMPParser", "getSupplyInfo");
    try {
        initLocalizationStructMap();
        initGeneralStructMap();
        initMarkerColorantStructMap();
        initMarkerSuppliesStructMap();
        if (suppliesInfo_.empty()) {
            return 0;
        }
        for (const auto& row : suppliesInfo_) {
            const SNMPMarkerSuppliesInfo_& supply = row.second;
            auto record = std::make_unique<supplyInfo_>();
            // A failed conversion hands back the text unconverted, which becomes the name.
            Utility::convertStringToUTF8(codePage_, supply.description, record->name);
            int mibType = decimalValue(supply.type);
            record->type = mapSNMPtoNPASuppType(mibType);
            record->supplyId = mapSNMPtoNPAFixedID(supply.colorantIndex, mibType);
            record->maxCapacity = decimalValue(supply.maxCapacity);
            record->currentLevel = decimalValue(supply.level);
            supplyRecords_.push_back(std::move(record));
            supplies.push_back(supplyRecords_.back().get());
        }
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

int CUPSSNMPParser::getTrays(std::map<int, std::string>& /*trays*/) { return 0; }
int CUPSSNMPParser::getBins(std::map<int, std::string>& /*bins*/) { return 0; }
int CUPSSNMPParser::getDuplex(int& /*installed*/) { return 0; }
int CUPSSNMPParser::getFLash(int& /*installed*/) { return 0; }
int CUPSSNMPParser::getFinishers(std::map<int, std::string>& /*finishers*/) { return 0; }
int CUPSSNMPParser::getSNMPCodePage(int& /*codePage*/) { return 0; }
int CUPSSNMPParser::getManualFeeder(int& /*installed*/) { return 0; }
