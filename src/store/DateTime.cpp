#include "store/DateTime.h"

#include <cstdio>

namespace kelvane {

std::string DateTime::storageText() const {
    char buffer[32];
    const int n = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d.%03d", year, month, day, hour,
                                minute, second, msec);
    return std::string(buffer, static_cast<size_t>(n));
}

bool DateTime::isValid() const {
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1)
        return false;
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const int days = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
    return day <= days && hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60 &&
           msec >= 0 && msec < 1000;
}

} // namespace kelvane
