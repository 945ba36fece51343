// TimeZoneGuard: the time zone of the process for the length of a scope.

#ifndef NOVU_BASES_TESTS_SUPPORT_TIMEZONEGUARD_H_
#define NOVU_BASES_TESTS_SUPPORT_TIMEZONEGUARD_H_

#include <time.h>

#include <cstdlib>
#include <string>

namespace NovuTest {

/// Sets TZ to `zone`, such as "CET-1CEST,M3.5.0,M10.5.0/3", and puts the
/// earlier value back, or takes TZ away where there was none. localtime_r need
/// not look at TZ by itself, so tzset follows both times. One thread only.
class TimeZoneGuard {
public:
    explicit TimeZoneGuard(const char* zone) {
        if (const char* const value = std::getenv("TZ"); value != nullptr) {
            wasSet = true;
            earlier = value;
        }
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    TimeZoneGuard(const TimeZoneGuard&) = delete;
    TimeZoneGuard& operator=(const TimeZoneGuard&) = delete;
    ~TimeZoneGuard() {
        if (wasSet) {
            ::setenv("TZ", earlier.c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

private:
    bool wasSet = false;
    std::string earlier;
};

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_TIMEZONEGUARD_H_
