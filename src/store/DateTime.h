#pragma once

#include <cstdint>
#include <string>

namespace kelvane {

// A calendar time as the data layer stores it: UTC, millisecond resolution.
// The zero date is the start of the day count the dates are measured from, 1899-12-30.
struct DateTime {
    int year = 1899;
    int month = 12;
    int day = 30;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int msec = 0;

    static DateTime zero() { return {}; }
    bool isMidnight() const { return hour == 0 && minute == 0 && second == 0 && msec == 0; }
    bool operator==(const DateTime&) const = default;

    // "yyyy-mm-dd hh:nn:ss.zzz", the form in which date columns are stored and sort.
    std::string storageText() const;
    // True when the values form a real date and time.
    bool isValid() const;
};

} // namespace kelvane
