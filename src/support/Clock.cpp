// Clock: the time of day, replaceable in tests.
#include "support/Clock.h"

namespace {
Clock::NowFunction& nowFunction() {
    static Clock::NowFunction function;
    return function;
}
}  // namespace

struct timeval Clock::now() {
    if (nowFunction()) {
        return nowFunction()();
    }
    struct timeval tv {};
    gettimeofday(&tv, nullptr);
    return tv;
}

void Clock::setNowFunction(NowFunction function) { nowFunction() = std::move(function); }
