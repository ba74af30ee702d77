#include "trace/Stamp.h"

#include <array>
#include <cstdio>

#include "trace/Scanner.h"

namespace Tallowmere::command::trace {
namespace {

constexpr std::array<std::string_view, 12> kMonths = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};

constexpr Instant kSecond = 1000;
constexpr Instant kMinute = 60 * kSecond;
constexpr Instant kHour = 60 * kMinute;
constexpr Instant kDay = 24 * kHour;

bool isLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int daysOf(int year, int month) {
    constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : kDays[static_cast<std::size_t>(month) - 1];
}

bool isOnCalendar(const Moment& moment) {
    // The system's calendar begins in 1601.
    return moment.year >= 1601 && moment.month >= 1 && moment.month <= 12 && moment.day >= 1 &&
           moment.day <= daysOf(moment.year, moment.month) && moment.hour <= 23 &&
           moment.minute <= 59 && moment.second <= 59;
}

/// Days since the beginning of 1970. Years begin in March here, so that the odd day is the last.
Instant daysUntil(int year, int month, int day) {
    const Instant shifted = year - (month <= 2 ? 1 : 0);
    const Instant era = shifted / 400;
    const Instant yearOfEra = shifted - era * 400;
    const Instant monthFromMarch = (month + 9) % 12;
    const Instant dayOfYear = (153 * monthFromMarch + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

bool readMonth(Scanner& scanner, int& month) {
    for (std::size_t i = 0; i < kMonths.size(); ++i) {
        if (scanner.take(kMonths[i])) {
            month = static_cast<int>(i) + 1;
            return true;
        }
    }
    return false;
}

/// "2026-11-16", perhaps with a time of day; `last` is the end of what was left out.
bool readNumbers(std::string_view text, Instant& first, Instant& last) {
    Scanner scanner(text);
    Moment moment;
    if (!scanner.number(4, 4, moment.year) || !scanner.take("-") ||
        !scanner.number(1, 2, moment.month) || !scanner.take("-") ||
        !scanner.number(1, 2, moment.day)) {
        return false;
    }
    Instant length = kDay;
    if (!scanner.isAtEnd()) {
        if (!(scanner.take("T") || scanner.take(" ")) || !scanner.number(1, 2, moment.hour) ||
            !scanner.take(":") || !scanner.number(2, 2, moment.minute)) {
            return false;
        }
        length = kMinute;
        if (scanner.take(":")) {
            if (!scanner.number(2, 2, moment.second)) {
                return false;
            }
            length = kSecond;
            if (scanner.take(".")) {
                if (!scanner.number(3, 3, moment.millisecond)) {
                    return false;
                }
                length = 1;
            }
        }
    }
    if (!scanner.isAtEnd() || !isOnCalendar(moment)) {
        return false;
    }
    first = instantOf(moment);
    last = first + length - 1;
    return true;
}

}  // namespace

Instant instantOf(const Moment& moment) {
    return daysUntil(moment.year, moment.month, moment.day) * kDay + moment.hour * kHour +
           moment.minute * kMinute + moment.second * kSecond + moment.millisecond;
}

Moment momentOf(Instant instant) {
    Instant days = instant / kDay;
    Instant rest = instant % kDay;
    if (rest < 0) {
        rest += kDay;
        --days;
    }
    Moment moment;
    const Instant shifted = days + 719468;
    const Instant era = shifted / 146097;
    const Instant dayOfEra = shifted - era * 146097;
    const Instant yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const Instant dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const Instant monthFromMarch = (5 * dayOfYear + 2) / 153;
    moment.day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    moment.month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    moment.year = static_cast<int>(yearOfEra + era * 400 + (moment.month <= 2 ? 1 : 0));
    moment.hour = static_cast<int>(rest / kHour);
    moment.minute = static_cast<int>(rest / kMinute % 60);
    moment.second = static_cast<int>(rest / kSecond % 60);
    moment.millisecond = static_cast<int>(rest % kSecond);
    return moment;
}

bool readStamp(std::string_view text, Instant& instant) {
    Scanner scanner(text);
    Moment moment;
    if (!readMonth(scanner, moment.month) || !scanner.take(" ") ||
        !scanner.plainNumber(1, 2, moment.day) || !scanner.take(", ") ||
        !scanner.number(4, 4, moment.year) || !scanner.take(", ") ||
        !scanner.plainNumber(1, 2, moment.hour) || !scanner.take(":") ||
        !scanner.number(2, 2, moment.minute) || !scanner.take(":") ||
        !scanner.number(2, 2, moment.second) || !scanner.take(".") ||
        !scanner.number(3, 3, moment.millisecond)) {
        return false;
    }
    const bool isMorning = scanner.take(" AM");
    if ((!isMorning && !scanner.take(" PM")) || !scanner.isAtEnd() || moment.hour < 1 ||
        moment.hour > 12) {
        return false;
    }
    moment.hour = moment.hour % 12 + (isMorning ? 0 : 12);
    if (!isOnCalendar(moment)) {
        return false;
    }
    instant = instantOf(moment);
    return true;
}

bool isForeignStamp(std::string_view text) {
    // The month is whatever stands before the day; the time of day ends in whatever marks there
    // are.
    const std::size_t comma = text.find(", ");
    if (comma == std::string_view::npos) {
        return false;
    }
    const std::size_t blank = text.substr(0, comma).rfind(' ');
    if (blank == std::string_view::npos || blank == 0) {
        return false;
    }
    for (const char byte : text) {
        if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F) {
            return false;
        }
    }
    Scanner scanner(text.substr(blank + 1));
    int number = 0;
    return scanner.plainNumber(1, 2, number) && number >= 1 && number <= 31 && scanner.take(", ") &&
           scanner.number(4, 4, number) && scanner.take(", ") &&
           scanner.plainNumber(1, 2, number) && number >= 1 && number <= 12 && scanner.take(":") &&
           scanner.number(2, 2, number) && number <= 59 && scanner.take(":") &&
           scanner.number(1, 2, number) && scanner.rest().find('.') != std::string_view::npos;
}

std::string stampOf(Instant instant) {
    const Moment moment = momentOf(instant);
    char text[64];
    std::snprintf(text, sizeof text, "%s %d, %04d, %d:%02d:%02d.%03d %s",
                  kMonths[static_cast<std::size_t>(moment.month) - 1].data(), moment.day,
                  moment.year, moment.hour % 12 == 0 ? 12 : moment.hour % 12, moment.minute,
                  moment.second, moment.millisecond, moment.hour < 12 ? "AM" : "PM");
    return text;
}

std::string isoOf(Instant instant) {
    const Moment moment = momentOf(instant);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", moment.year,
                  moment.month, moment.day, moment.hour, moment.minute, moment.second,
                  moment.millisecond);
    return text;
}

std::string spanOf(Instant milliseconds) {
    char text[64];
    const long long hours = milliseconds / kHour;
    const long long minutes = milliseconds / kMinute % 60;
    const double seconds = static_cast<double>(milliseconds % kMinute) / 1000;
    if (hours > 0) {
        std::snprintf(text, sizeof text, "%lld h %lld min %.3f s", hours, minutes, seconds);
    } else if (minutes > 0) {
        std::snprintf(text, sizeof text, "%lld min %.3f s", minutes, seconds);
    } else {
        std::snprintf(text, sizeof text, "%.3f s", seconds);
    }
    return text;
}

bool readTime(std::string_view text, Instant& first, Instant& last) {
    if (readStamp(text, first)) {
        last = first;
        return true;
    }
    return readNumbers(text, first, last);
}

}  // namespace Tallowmere::command::trace
