// supplyInfo_: one supply as a parser decoded it.
#pragma once

#include <string>

struct supplyInfo_ {
    int supplyId = 0;         // fixed supply identifier (NPA numbering)
    std::string name;         // display name, UTF-8
    std::string secondText;   // carried as received; nothing reads it
    int extraNumber1 = 0;     // carried; nothing reads it
    int type = 0;             // supply type, NPA numbering
    int extraNumber2 = 0;     // carried; nothing reads it
    int maxCapacity = 0;      // full level
    int currentLevel = 0;     // current amount
    int extraNumber3 = 0;     // carried; nothing reads it
    int extraNumber4 = 0;     // carried; nothing reads it
};
