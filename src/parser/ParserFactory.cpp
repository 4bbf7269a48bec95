// ParserFactory: creates the parser that fits a protocol.
#include "parser/ParserFactory.h"

#include "parser/Parser.h"

// Placeholder until the parsers exist.
Parser* ParserFactory::createParser(ProtocolType /*type*/) { return nullptr; }
