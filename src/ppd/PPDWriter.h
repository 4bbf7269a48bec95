// PPDWriter: has the device model mapped to keywords and writes them in a concrete format.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "ppd/IWriter.h"
#include "ppd/PPDParser.h"
#include "ppd/WriterStream.h"

class PPDWriter : public IWriter {
public:
    // |separator| goes between a keyword and its value.
    explicit PPDWriter(std::string separator);
    ~PPDWriter() override;

    PPDWriter(const PPDWriter&) = delete;
    PPDWriter& operator=(const PPDWriter&) = delete;

    // The stream's result (0 on success), or -1 when nothing was written.
    int writeData(RequestType type, Parser* parser) override;
    // Takes ownership of |stream|, replacing the previous one; returns 0.
    virtual int setOutputMode(WriterStream* stream);
    // The text for |keywords|; empty here, the concrete writers format it.
    virtual std::string formatData(RequestType type, std::map<std::string, std::string> keywords);
    // The stream's result, or -1 without a stream or text.
    int writeToFile(std::string text);

protected:
    std::string separator_;
    std::unique_ptr<WriterStream> outputStream_;
    std::unique_ptr<PPDParser> mapper_;
};
