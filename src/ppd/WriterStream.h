// WriterStream: where a writer's text goes.
#pragma once

#include <cstdio>
#include <string>

class Logger;

class WriterStream {
public:
    virtual ~WriterStream() = default;
    // Writes |text| and a newline; the flush result (0 on success), -1 for an empty text.
    virtual int WriteData(std::string text) = 0;

protected:
    // Writes |text| and a newline to |stream|, logs the counts and flushes.
    static int writeLine(FILE* stream, const std::string& text, Logger& logger);
};
