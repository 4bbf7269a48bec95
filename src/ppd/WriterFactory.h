// WriterFactory: picks the writer by whether a PPD file path is given.
#pragma once

#include <string>

class IWriter;

class WriterFactory {
public:
    // A new writer owned by the caller.
    static IWriter* createWriter(std::string ppdPath);
};
