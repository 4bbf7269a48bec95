// SupplyStateReasons: the printer-state-reasons that reported supply levels raise or clear.
#pragma once

#include <string>
#include <vector>

class SupplyStateReasons {
public:
    // At or below these percentages a supply is low, and at or below the second, empty.
    static constexpr int kLowPercent = 5;
    static constexpr int kEmptyPercent = 1;

    // Takes one supply as reported: its marker type, the percentage written to
    // marker-levels, and whether that percentage was measured (maximum capacity above 0).
    void addSupply(const std::string& markerType, int levelPercent, bool capacityKnown);

    // True when no supply has been added.
    bool empty() const { return supplies_ == 0; }

    // The reasons the added supplies raise, in a fixed order, each once.
    std::vector<std::string> raised() const;
    // Every reason these supplies can raise that none of them raises now.
    std::vector<std::string> cleared() const;

    // The spooler's lines: "STATE: -a,b" for the cleared reasons, then "STATE: +x,y" for the
    // raised ones, each left out when it would name nothing. None without supplies.
    std::vector<std::string> lines() const;

private:
    // One bit per reason, indexing the reason table in SupplyStateReasons.cpp.
    unsigned raised_ = 0;
    int supplies_ = 0;
};
