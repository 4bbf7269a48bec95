// SupplyStateReasons: the printer-state-reasons that reported supply levels raise or clear.
#include "ppd/SupplyStateReasons.h"

#include <cstddef>

namespace {

// The reasons a supply can raise, as the spooler and desktop tools know them. The bit of a
// reason is 1 << its index here.
const char* const kReasons[] = {
    "toner-low-report",         "toner-empty-warning",         //
    "marker-supply-low-report", "marker-supply-empty-warning",  //
    "opc-near-eol-report",      "opc-life-over-warning",       //
};
constexpr std::size_t kReasonCount = sizeof(kReasons) / sizeof(kReasons[0]);

struct SupplyKind {
    const char* markerType;
    int lowReason;    // index into kReasons
    int emptyReason;  // index into kReasons
};

// Marker types that warn, with the pair of reasons each raises. A drum and a fuser wear out
// rather than run empty, so both report through the photoconductor pair; ink through the
// generic marker-supply pair. The waste-toner box raises nothing: printers disagree on
// whether its level counts room left or fill, so a warning could be a false alarm.
// "other" names nothing a desktop can explain, so it raises nothing either. None of our
// supplies is a developer unit, so the developer reasons are left to whoever sets them.
const SupplyKind kKinds[] = {
    {"toner", 0, 1},
    {"ink", 2, 3},
    {"opc", 4, 5},
    {"fuser", 4, 5},
};

}  // namespace

void SupplyStateReasons::addSupply(const std::string& markerType, int levelPercent,
                                   bool capacityKnown) {
    ++supplies_;
    // An unmeasured or unknown level (the printer's negative codes) must not alarm anyone.
    if (!capacityKnown || levelPercent < 0 || levelPercent > kLowPercent) {
        return;
    }
    for (const SupplyKind& kind : kKinds) {
        if (markerType == kind.markerType) {
            int reason = levelPercent <= kEmptyPercent ? kind.emptyReason : kind.lowReason;
            raised_ |= 1u << reason;
            return;
        }
    }
}

std::vector<std::string> SupplyStateReasons::raised() const {
    std::vector<std::string> reasons;
    for (std::size_t i = 0; i < kReasonCount; ++i) {
        if (raised_ & (1u << i)) {
            reasons.emplace_back(kReasons[i]);
        }
    }
    return reasons;
}

std::vector<std::string> SupplyStateReasons::cleared() const {
    std::vector<std::string> reasons;
    for (std::size_t i = 0; i < kReasonCount; ++i) {
        if (!(raised_ & (1u << i))) {
            reasons.emplace_back(kReasons[i]);
        }
    }
    return reasons;
}

namespace {

// "STATE: " and |sign| apply to every keyword of the line, so one line per direction.
std::string stateLine(char sign, const std::vector<std::string>& reasons) {
    std::string line = std::string("STATE: ") + sign;
    for (std::size_t i = 0; i < reasons.size(); ++i) {
        line += (i ? "," : "") + reasons[i];
    }
    return line;
}

}  // namespace

std::vector<std::string> SupplyStateReasons::lines() const {
    std::vector<std::string> result;
    if (empty()) {
        return result;
    }
    std::vector<std::string> off = cleared();
    std::vector<std::string> on = raised();
    if (!off.empty()) {
        result.push_back(stateLine('-', off));
    }
    if (!on.empty()) {
        result.push_back(stateLine('+', on));
    }
    return result;
}
