// IWriter: turns what a parser knows into text for the spooler.
#pragma once

#include "core/RequestType.h"

class Parser;

class IWriter {
public:
    virtual ~IWriter() = default;
    // 0 when the text was written, -1 when nothing was.
    virtual int writeData(RequestType type, Parser* parser) = 0;
};
