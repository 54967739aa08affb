#include "store/DateTime.h"

namespace kelvane {

std::string DateTime::storageText() const {
    // Written by hand: this runs for every row of an import.
    char text[23];
    auto put = [&text](int pos, int value, int digits) {
        for (int i = digits - 1; i >= 0; --i) {
            text[pos + i] = static_cast<char>('0' + value % 10);
            value /= 10;
        }
    };
    put(0, year, 4);
    text[4] = '-';
    put(5, month, 2);
    text[7] = '-';
    put(8, day, 2);
    text[10] = ' ';
    put(11, hour, 2);
    text[13] = ':';
    put(14, minute, 2);
    text[16] = ':';
    put(17, second, 2);
    text[19] = '.';
    put(20, msec, 3);
    return std::string(text, sizeof text);
}

bool DateTime::isValid() const {
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1)
        return false;
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const int days = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
    return day <= days && hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 &&
           second < 60 && msec >= 0 && msec < 1000;
}

} // namespace kelvane
