// PPDParser: maps what a parser knows to PPD keywords and supply marker attributes.
#pragma once

#include <list>
#include <map>
#include <string>

#include "core/RequestType.h"
#include "parser/SupplyInfo.h"
#include "ppd/SupplyStateReasons.h"

class Parser;

// PPD keyword (without the leading asterisk) to value, in ascending keyword order.
using PPDKeywordMap = std::map<std::string, std::string>;

class PPDParser {
public:
    // Supply ids with a rule of their own.
    static constexpr int kHiddenSupplyId = 42;
    static constexpr int kWasteTonerSupplyId = 112;

    PPDParser();
    virtual ~PPDParser();

    // Result of the operation registered for |type|; -1 for an unknown type or a failure.
    int createData(RequestType type, Parser* parser, PPDKeywordMap& keywords);

    // Installable options: the result of the last of trays, bins and finishers that the
    // parser could answer; -1 when none could.
    int getInstallableOptions(Parser* parser, PPDKeywordMap& keywords);
    // Writes nothing; returns 0.
    int getDuplexOptions(Parser* parser, PPDKeywordMap& keywords);
    // Supply marker attributes: setSupplyInfo's result, or -1 without supplies.
    int getSupply(Parser* parser, PPDKeywordMap& keywords);

    // "DefaultTrays" from the highest tray id in 0..5; returns 0.
    int setInputOption(std::map<int, std::string> trays, PPDKeywordMap& keywords);
    // "DefaultOptOutputBins" from the highest bin id in 0..15; 0 when written, else -1.
    int setOutputOption(std::map<int, std::string> bins, PPDKeywordMap& keywords);
    // "DefaultOutputFinisher" from finisher 22, else 12; 0 when written, else -1.
    int setDeviceUnitOption(std::map<int, std::string> finishers, PPDKeywordMap& keywords);
    // "DefaultOptDuplex" (unknown counts as installed), "DefaultDuplex" when not installed.
    int setDuplexerOption(int installed, PPDKeywordMap& keywords);
    // "DefaultFlash" (unknown counts as not installed); 0 when written, else -1.
    int setFlashOption(int installed, PPDKeywordMap& keywords);
    // "DefaultEnvFeeder" for a state of exactly 0 or 1; 0 when written, else -1.
    int setManualFeederOption(int installed, PPDKeywordMap& keywords);
    // The four marker attributes from |supplies|; 0, or -1 when no record qualifies.
    int setSupplyInfo(std::list<supplyInfo_*> supplies, PPDKeywordMap& keywords);
    // The state reasons of the supplies that the last setSupplyInfo reported; empty when it
    // reported none.
    const SupplyStateReasons& supplyStateReasons() const { return stateReasons_; }

private:
    using Operation = int (PPDParser::*)(Parser*, PPDKeywordMap&);

    int createRequestTypeMap();
    int createCupsSpecificInfoMap();
    int createCUPSSupplyTypeMap();
    int createCUPSColorMap();
    int createDeviceConfigurationMap();
    int createInputMap();
    int createOutputMap();
    int createDeviceUnitMap();
    int createDuplexerMap();
    int createFlashMap();
    int createManualFeederMap();

    std::map<RequestType, Operation> requestTypeMap_;
    std::map<int, std::string> inputMap_;
    std::map<int, std::string> outputMap_;
    std::map<int, std::string> duplexerMap_;
    std::map<int, std::string> flashMap_;
    std::map<int, std::string> deviceUnitMap_;
    std::map<int, std::string> supplyTypeMap_;
    std::map<int, std::string> colorMap_;
    std::map<int, std::string> manualFeederMap_;
    SupplyStateReasons stateReasons_;
};
