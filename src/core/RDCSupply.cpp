// RDCSupply: the NPA device-characteristics request for the supply levels.
#include "core/RDCSupply.h"

#include "parser/Parser.h"
#include "protocol/Protocol.h"
#include "support/Logger.h"
#include "support/NPALangSettings.h"

namespace {
const unsigned char kRequest[] = {0xA5, 0x00, 0x08, 0x50, 0xE0, 0x21, 0x01, 0x00, 0x00, 0x01, 0x08};
// Answers start with a 5-byte header; the answer repeats request byte 4 (0xE0).
constexpr int kHeaderSize = 5;
constexpr int kEchoIndex = 4;
constexpr int kLanguageIndex = 8;
constexpr unsigned char kDefaultLanguage = 0;
// Status of a request that could not be written or got no answer at all.
constexpr int kNothingRead = 10;
}  // namespace

RDCSupply::RDCSupply() : DevCommand(CMD_SUPPLIES, kHeaderSize) {
    Data* request = new Data(kRequest, static_cast<int>(sizeof(kRequest)));
    request->setHeaderSize(kHeaderSize);
    request->setErrorCheckingByte(kEchoIndex);
    setRequest(request);
}

RDCSupply::~RDCSupply() = default;

int RDCSupply::setlangId(bool useDefault) {
    Logger logger("RDCSupply", "setlangId");
    unsigned char languageId = kDefaultLanguage;
    if (!useDefault) {
        NPALangSettings settings;
        languageId = settings.getNPALangID();
    }
    logger.Log("NPA lang ID: %d", languageId);
    Data* command = request();
    if (command != nullptr && command->get() != nullptr && command->size() > kLanguageIndex) {
        command->get()[kLanguageIndex] = languageId;
    }
    return -1;
}

int RDCSupply::Execute(Protocol* protocol, Parser* parser) {
    Logger logger("RDCSupply", "Execute");
    if (protocol == nullptr || parser == nullptr) {
        return -1;
    }
    setResponse(new Data());
    int id = static_cast<int>(requestID_++);

    setlangId(false);
    int result = protocol->doRequest(getCommand(id), *getResponse());
    // A printer that did answer but refused the request may not know the user's
    // language; 10 means no answer at all, which another language would not change.
    if (result != 0 && result != kNothingRead) {
        logger.Log("FAIL: %s",
                   "it failed due to language id is not supported by device. Now calling with default language.");
        setlangId(true);
        result = protocol->doRequest(getCommand(id), *getResponse());
    }
    if (result == 0) {
        parser->parseData(getResponse(), CMD_SUPPLIES);
    }
    return result;
}
