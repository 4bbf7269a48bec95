// WriterSTDERR: writes a writer's text to standard error, where the spooler reads it.
#include "ppd/WriterSTDERR.h"

#include "support/Logger.h"

int WriterSTDERR::WriteData(std::string text) {
    Logger logger("WriterSTDERR", "WriteData");
    return writeLine(stream_, text, logger);
}
