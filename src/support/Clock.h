// Clock: the time of day, replaceable in tests.
#pragma once

#include <sys/time.h>

#include <functional>

class Clock {
public:
    using NowFunction = std::function<struct timeval()>;

    // The current time of day (gettimeofday unless replaced).
    static struct timeval now();
    // Replaces the source of the time of day; an empty function restores the real one.
    static void setNowFunction(NowFunction function);
};
