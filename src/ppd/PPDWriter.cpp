// PPDWriter: has the device model mapped to keywords and writes them in a concrete format.
#include "ppd/PPDWriter.h"

#include <exception>

#include "support/Logger.h"

PPDWriter::PPDWriter(std::string separator)
    : separator_(std::move(separator)), mapper_(std::make_unique<PPDParser>()) {}

PPDWriter::~PPDWriter() = default;

int PPDWriter::writeData(RequestType type, Parser* parser) {
    Logger logger("PPDWriter", "writeData");
    try {
        PPDKeywordMap keywords;
        if (mapper_) {
            mapper_->createData(type, parser, keywords);
        }
        return writeToFile(formatData(type, keywords));
    } catch (const std::exception&) {
        return -1;
    }
}

int PPDWriter::setOutputMode(WriterStream* stream) {
    outputStream_.reset(stream);
    return 0;
}

std::string PPDWriter::formatData(RequestType /*type*/,
                                  std::map<std::string, std::string> /*keywords*/) {
    return std::string();
}

int PPDWriter::writeToFile(std::string text) {
    Logger logger("PPDWriter", "writeToFile");
    if (!outputStream_ || text.empty()) {
        return -1;
    }
    return outputStream_->WriteData(text);
}
