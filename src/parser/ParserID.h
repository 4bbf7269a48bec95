// ParserID: the keys of the NPA sub-parsers in the parser registry.
#pragma once

enum ParserID {
    PARSER_INPUT = 2,
    PARSER_OUTPUT = 3,
    PARSER_DUPLEX = 4,
    PARSER_SUPPLY = 5,
    PARSER_GENERAL_INFO = 6,
    PARSER_ROC = 7,
};
