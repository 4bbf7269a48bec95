// WriterSTDOUT: writes a writer's text to standard output.
#include "ppd/WriterSTDOUT.h"

#include "support/Logger.h"

int WriterSTDOUT::WriteData(std::string text) {
    Logger logger("WriterSTDOUT", "WriteData");
    return writeLine(stream_, text, logger);
}
