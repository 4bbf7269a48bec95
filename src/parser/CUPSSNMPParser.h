// CUPSSNMPParser: turns the backend channel's Printer MIB walk lines into supply records.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>

#include "parser/Parser.h"

class Logger;

// Row records of the four walked tables. A field number is the position of a value in
// its row, counted from 1 in walk order (the index column is not returned, so field n is
// column n + 1 of the table entry). Each fill operation stores one value by field number
// and ignores numbers it does not know.

// General table: configuration changes and current localization.
struct SNMPGeneralInfo_ {
    std::string configChanges;
    int currentLocalization = 0;
    void fillGeneralInfo(int field, const std::string& value);
};

// Localization table: language, country, character set (IANA number).
struct SNMPLocalizationInfo_ {
    std::string language;
    std::string country;
    int characterSet = 0;
    void fillLocalizationInfo(int field, const std::string& value);
};

// Marker colorant table: marker index, role, value (a colour name), tonality.
struct SNMPMarkerColorantInfo_ {
    std::string markerIndex;
    std::string role;
    std::string value;
    std::string tonality;
    void fillMarkerColorantInfo(int field, const std::string& value);
};

// Marker supplies table: the eight walked columns, as text.
struct SNMPMarkerSuppliesInfo_ {
    std::string markerIndex;
    std::string colorantIndex;
    std::string supplyClass;
    std::string type;
    std::string description;
    std::string supplyUnit;
    std::string maxCapacity;
    std::string level;
    void fillSNMPMarkerSuppliesInfo(int field, const std::string& value);
};

class CUPSSNMPParser : public Parser {
public:
    // Entry identifiers of the walked tables.
    static const char* const kGeneralEntry;
    static const char* const kLocalizationEntry;
    static const char* const kMarkerSuppliesEntry;
    static const char* const kMarkerColorantEntry;
    // IANA number of code page 850, used until the printer names its character set.
    static constexpr int kDefaultCodePage = 2009;

    // Row index -> values of that row in arrival order.
    using RowMap = std::map<int, std::list<std::string>>;

    CUPSSNMPParser();
    ~CUPSSNMPParser() override;

    // Sorts the "identifier=value" lines of |answer| into the rows of their tables.
    // 0 on success, -1 on a failure.
    int parseData(Data* answer, CommandID id) override;
    // Appends one record per marker-supplies row, in ascending row order; the records
    // stay owned by this parser. 0 on success (also without rows), -1 on a failure.
    int getSupplyInfo(std::list<supplyInfo_*>& supplies) override;
    // Not answered over this channel: each does nothing and returns 0.
    int getTrays(std::map<int, std::string>& trays) override;
    int getBins(std::map<int, std::string>& bins) override;
    int getDuplex(int& installed) override;
    int getFLash(int& installed) override;
    int getFinishers(std::map<int, std::string>& finishers) override;
    int getSNMPCodePage(int& codePage) override;
    int getManualFeeder(int& installed) override;

    // Appends |value| to row |row| of table |entry|; returns 0.
    int insertSNMPResponseMap(const std::string& entry, int row, const std::string& value);
    // The rows of table |entry|; empty when it never occurred.
    RowMap getSNMPResponseMap(const std::string& entry) const;

    // Build the row records of one table from the collected rows; each returns 0.
    int initGeneralStructMap();
    int initLocalizationStructMap();
    int initMarkerColorantStructMap();
    int initMarkerSuppliesStructMap();

    // Supply type of the MIB to the supply type of a supply record; 0 when unknown.
    int mapSNMPtoNPASuppType(int mibType);
    // Colorant index and MIB supply type to the fixed supply id.
    int mapSNMPtoNPAFixedID(const std::string& colorantIndex, int mibType);
    // 'C', 'M' or 'Y' for a colorant row naming cyan, magenta or yellow, else 'K'.
    int isCMYK(const std::string& colorantIndex);

    // Code page of the printer's texts, as chosen by the last initGeneralStructMap.
    int getCodePage() const { return codePage_; }

private:
    // Files one line of the walk; logs through |logger|, the trace of parseData.
    void parseLine(const std::string& line, Logger& logger);

    [[maybe_unused]] int status_ = kParserStatusNotAvailable;  // kept; nothing reads it
    int codePage_ = kDefaultCodePage;
    std::map<std::string, RowMap> responseMap_;
    std::map<int, SNMPGeneralInfo_> generalInfo_;
    std::map<int, SNMPLocalizationInfo_> localizationInfo_;
    std::map<int, SNMPMarkerColorantInfo_> colorantInfo_;
    std::map<int, SNMPMarkerSuppliesInfo_> suppliesInfo_;
    std::list<std::unique_ptr<supplyInfo_>> supplyRecords_;
};
