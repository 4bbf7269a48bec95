// WriterStream: where a writer's text goes.
#include "ppd/WriterStream.h"

#include "support/Logger.h"

int WriterStream::writeLine(FILE* stream, const std::string& text, Logger& logger) {
    if (text.empty() || stream == nullptr) {
        return -1;
    }
    int written = std::fprintf(stream, "%s\n", text.c_str());
    logger.Log("Bystes Requested =%d, Bytes Written =%d", static_cast<int>(text.size()), written);
    int flushed = std::fflush(stream);
    logger.Log("fflush return =%d", flushed);
    return flushed;
}
