// WriterFactory: picks the writer by whether a PPD file path is given.
#include "ppd/WriterFactory.h"

#include "ppd/IWriter.h"

// Placeholder until the writers exist.
IWriter* WriterFactory::createWriter(std::string /*ppdPath*/) { return nullptr; }
