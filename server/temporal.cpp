// Dates, times and intervals: between their texts and the counts in which they travel.
#include "server/temporal.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "server/types.h"

namespace tavud {

namespace {

constexpr int64_t MICROS_PER_SECOND = 1000000;
constexpr int MICRO_DIGITS = 6;
constexpr int64_t SECONDS_PER_DAY = 86400;
constexpr int64_t MILLIS_PER_DAY = SECONDS_PER_DAY * 1000;
constexpr int64_t MICROS_PER_DAY = SECONDS_PER_DAY * MICROS_PER_SECOND;
constexpr int32_t ZONE_MINUTES_MAX = 15 * 60 + 59;

// Walks over a text. Each step leaves the text where it was when it does not apply.
struct Scanner {
    std::string_view rest;

    bool Take(char c) {
        if (rest.empty() || rest[0] != c) return false;
        rest.remove_prefix(1);
        return true;
    }

    void SkipBlanks() {
        while (Take(' ')) {
        }
    }

    // A number of 1 to `digits_max` digits.
    bool Number(int digits_max, int64_t *value) {
        int64_t number = 0;
        int digits = 0;
        while (digits < digits_max && !rest.empty() && rest[0] >= '0' && rest[0] <= '9') {
            number = number * 10 + (rest[0] - '0');
            rest.remove_prefix(1);
            digits++;
        }
        *value = number;
        return digits > 0;
    }

    // Digits behind a decimal point, as microseconds; more than six are cut. 0 without a point.
    bool Fraction(int64_t *micros) {
        *micros = 0;
        if (!Take('.')) return true;
        int64_t unit = MICROS_PER_SECOND / 10;
        bool any = false;
        while (!rest.empty() && rest[0] >= '0' && rest[0] <= '9') {
            *micros += (rest[0] - '0') * unit;
            unit /= 10;
            any = true;
            rest.remove_prefix(1);
        }
        return any;
    }
};

bool IsLeapYear(int64_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int64_t DaysOfMonth(int64_t year, int64_t month) {
    constexpr std::array<int64_t, 12> days = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : days[static_cast<size_t>(month - 1)];
}

// Days from 0001-01-01 to the first day of the year.
int64_t DaysBeforeYear(int64_t year) {
    const int64_t full = year - 1;
    return full * 365 + full / 4 - full / 100 + full / 400;
}

constexpr int64_t DAYS_TO_1970 = 719162;

int64_t DaysOf(int64_t year, int64_t month, int64_t day) {
    int64_t days = DaysBeforeYear(year) - DAYS_TO_1970 + day - 1;
    for (int64_t m = 1; m < month; m++) {
        days += DaysOfMonth(year, m);
    }
    return days;
}

struct CivilDate {
    int64_t year;
    int64_t month;
    int64_t day;
};

CivilDate CivilOf(int64_t days) {
    const int64_t since_year_one = days + DAYS_TO_1970;
    CivilDate date = {since_year_one / 366 + 1, 1, 0};
    while (DaysBeforeYear(date.year + 1) <= since_year_one) {
        date.year++;
    }
    int64_t left = since_year_one - DaysBeforeYear(date.year);
    while (left >= DaysOfMonth(date.year, date.month)) {
        left -= DaysOfMonth(date.year, date.month);
        date.month++;
    }
    date.day = left + 1;
    return date;
}

bool ScanDate(Scanner *scan, int64_t *days) {
    int64_t year = 0;
    int64_t month = 0;
    int64_t day = 0;
    if (!scan->Number(4, &year) || !scan->Take('-')) return false;
    if (!scan->Number(2, &month) || !scan->Take('-')) return false;
    if (!scan->Number(2, &day)) return false;
    if (year < 1 || month < 1 || month > 12) return false;
    if (day < 1 || day > DaysOfMonth(year, month)) return false;
    *days = DaysOf(year, month, day);
    return true;
}

// H:M or H:M:S with a fraction, as microseconds of the day.
bool ScanTime(Scanner *scan, int64_t *micros) {
    int64_t hour = 0;
    int64_t minute = 0;
    int64_t second = 0;
    int64_t fraction = 0;
    if (!scan->Number(2, &hour) || !scan->Take(':') || !scan->Number(2, &minute)) return false;
    if (scan->Take(':') && (!scan->Number(2, &second) || !scan->Fraction(&fraction))) return false;
    if (hour > 23 || minute > 59 || second > 59) return false;
    *micros = ((hour * 60 + minute) * 60 + second) * MICROS_PER_SECOND + fraction;
    return true;
}

// A date, a time, or a date with a time; `has_date` and `has_time` say which.
struct Moment {
    int64_t days = 0;
    int64_t micros = 0;
    bool has_date = false;
    bool has_time = false;
};

bool ScanMoment(Scanner *scan, Moment *moment) {
    scan->SkipBlanks();
    const Scanner start = *scan;
    if (ScanDate(scan, &moment->days)) {
        moment->has_date = true;
        if (!scan->Take(' ') && !scan->Take('T')) return true;
        scan->SkipBlanks();
        if (scan->rest.empty()) return true;
        // A sign here is a zone behind a date alone, which the caller reads.
        if (scan->rest[0] == '+' || scan->rest[0] == '-') return true;
    } else {
        *scan = start;
    }
    moment->has_time = ScanTime(scan, &moment->micros);
    return moment->has_time;
}

bool ScanZone(Scanner *scan, int64_t *minutes) {
    *minutes = 0;
    scan->SkipBlanks();
    if (scan->rest.empty()) return true;
    if (scan->Take('Z')) return true;
    const bool west = scan->Take('-');
    if (!west && !scan->Take('+')) return false;
    int64_t hour = 0;
    int64_t minute = 0;
    if (!scan->Number(2, &hour)) return false;
    if (scan->Take(':') && !scan->Number(2, &minute)) return false;
    if (minute > 59) return false;
    *minutes = west ? -(hour * 60 + minute) : hour * 60 + minute;
    return std::abs(*minutes) <= ZONE_MINUTES_MAX;
}

bool AtEnd(Scanner *scan) {
    scan->SkipBlanks();
    return scan->rest.empty();
}

int64_t FloorDivide(int64_t value, int64_t by) {
    return value >= 0 ? value / by : -((by - 1 - value) / by);
}

// The last `digits` digits of a number that is not negative. Rows by the million pass through
// here, and the C library's formatting takes as long as all else that is done with a date.
void AppendDigits(std::string *text, int64_t number, int digits) {
    text->append(static_cast<size_t>(digits), '0');
    for (size_t at = text->size(); digits > 0; digits--) {
        (*text)[--at] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

// "HH:MM:SS" and, unless they are zero, a point and `digits` digits of the second.
std::string TimeText(int64_t micros_of_day, int digits) {
    const int64_t seconds = micros_of_day / MICROS_PER_SECOND;
    int64_t fraction = micros_of_day % MICROS_PER_SECOND;
    std::string text;
    AppendDigits(&text, seconds / 3600, 2);
    text.push_back(':');
    AppendDigits(&text, seconds / 60 % 60, 2);
    text.push_back(':');
    AppendDigits(&text, seconds % 60, 2);
    if (fraction == 0) return text;
    text.push_back('.');
    for (int cut = MICRO_DIGITS; cut > digits; cut--) {
        fraction /= 10;
    }
    AppendDigits(&text, fraction, digits);
    return text;
}

std::string DateText(int64_t days) {
    const CivilDate date = CivilOf(days);
    std::string text;
    AppendDigits(&text, date.year, 4);
    text.push_back('-');
    AppendDigits(&text, date.month, 2);
    text.push_back('-');
    AppendDigits(&text, date.day, 2);
    return text;
}

std::string ZoneText(int16_t zone_minutes) {
    const int minutes = std::abs(static_cast<int>(zone_minutes));
    char text[32];
    std::snprintf(text, sizeof(text), " %c%02d:%02d", zone_minutes < 0 ? '-' : '+', minutes / 60,
                  minutes % 60);
    return text;
}

// The units of an interval from its first field to its last.
enum Unit { UNIT_YEAR, UNIT_MONTH, UNIT_DAY, UNIT_HOUR, UNIT_MINUTE, UNIT_SECOND };

struct IntervalForm {
    Unit first;
    Unit last;
};

IntervalForm FormOf(int32_t type_id) {
    switch (type_id) {
        case TYPE_INTERVAL_YEAR: return {UNIT_YEAR, UNIT_YEAR};
        case TYPE_INTERVAL_YEAR_TO_MONTH: return {UNIT_YEAR, UNIT_MONTH};
        case TYPE_INTERVAL_MONTH: return {UNIT_MONTH, UNIT_MONTH};
        case TYPE_INTERVAL_DAY: return {UNIT_DAY, UNIT_DAY};
        case TYPE_INTERVAL_DAY_TO_HOUR: return {UNIT_DAY, UNIT_HOUR};
        case TYPE_INTERVAL_HOUR: return {UNIT_HOUR, UNIT_HOUR};
        case TYPE_INTERVAL_DAY_TO_MINUTE: return {UNIT_DAY, UNIT_MINUTE};
        case TYPE_INTERVAL_HOUR_TO_MINUTE: return {UNIT_HOUR, UNIT_MINUTE};
        case TYPE_INTERVAL_MINUTE: return {UNIT_MINUTE, UNIT_MINUTE};
        case TYPE_INTERVAL_DAY_TO_SECOND: return {UNIT_DAY, UNIT_SECOND};
        case TYPE_INTERVAL_HOUR_TO_SECOND: return {UNIT_HOUR, UNIT_SECOND};
        case TYPE_INTERVAL_MINUTE_TO_SECOND: return {UNIT_MINUTE, UNIT_SECOND};
        default: return {UNIT_SECOND, UNIT_SECOND};
    }
}

// How many of a unit make one of the unit before it.
int64_t PerUnitBefore(Unit unit) {
    switch (unit) {
        case UNIT_MONTH: return 12;
        case UNIT_HOUR: return 24;
        case UNIT_MINUTE:
        case UNIT_SECOND: return 60;
        default: return 1;
    }
}

char SeparatorBefore(Unit unit) {
    switch (unit) {
        case UNIT_MONTH: return '-';
        case UNIT_HOUR: return ' ';
        default: return ':';
    }
}

// The widest first field: ten digits hold every 32-bit count and keep the sums within 64 bits.
constexpr int INTERVAL_DIGITS_MAX = 10;
// As many whole seconds as a 64-bit count of microseconds surely holds.
constexpr int64_t INTERVAL_SECONDS_MAX = 9000000000000;

}  // namespace

bool IsDay(int64_t days) {
    return days >= DaysOf(1, 1, 1) && days <= DaysOf(9999, 12, 31);
}

bool IsZonedTime(const Zoned &value) {
    const int64_t local = value.count + static_cast<int64_t>(value.zone_minutes) * 60000;
    return std::abs(value.zone_minutes) <= ZONE_MINUTES_MAX && local >= 0 && local < MILLIS_PER_DAY;
}

bool IsZonedDateTime(const Zoned &value) {
    if (std::abs(value.zone_minutes) > ZONE_MINUTES_MAX) return false;
    // The count itself first, one day inside the years, so that the sum stays within 64 bits.
    const int64_t days = FloorDivide(value.count, MICROS_PER_DAY);
    return IsDay(days - 1) && IsDay(days + 1);
}

bool ParseDate(std::string_view text, int32_t *days) {
    Scanner scan{text};
    Moment moment;
    int64_t zone = 0;
    if (!ScanMoment(&scan, &moment) || !ScanZone(&scan, &zone) || !AtEnd(&scan)) return false;
    *days = static_cast<int32_t>(moment.days);
    return moment.has_date;
}

bool ParseTime(std::string_view text, int32_t *milliseconds) {
    Scanner scan{text};
    Moment moment;
    int64_t zone = 0;
    if (!ScanMoment(&scan, &moment) || !ScanZone(&scan, &zone) || !AtEnd(&scan)) return false;
    *milliseconds = static_cast<int32_t>(moment.micros / 1000);
    return moment.has_time;
}

bool ParseDateTime(std::string_view text, int64_t *milliseconds) {
    Scanner scan{text};
    Moment moment;
    int64_t zone = 0;
    if (!ScanMoment(&scan, &moment) || !ScanZone(&scan, &zone) || !AtEnd(&scan)) return false;
    *milliseconds = moment.days * MILLIS_PER_DAY + moment.micros / 1000;
    return moment.has_date;
}

bool ParseTimeZoned(std::string_view text, Zoned *value) {
    Scanner scan{text};
    Moment moment;
    int64_t zone = 0;
    if (!ScanMoment(&scan, &moment) || !ScanZone(&scan, &zone) || !AtEnd(&scan)) return false;
    // Not brought back into one day: readers add the zone and expect a time of day.
    value->count = moment.micros / 1000 - zone * 60000;
    value->zone_minutes = static_cast<int16_t>(zone);
    return moment.has_time;
}

bool ParseDateTimeZoned(std::string_view text, Zoned *value) {
    Scanner scan{text};
    Moment moment;
    int64_t zone = 0;
    if (!ScanMoment(&scan, &moment) || !ScanZone(&scan, &zone) || !AtEnd(&scan)) return false;
    value->count = moment.days * MICROS_PER_DAY + moment.micros - zone * 60 * MICROS_PER_SECOND;
    value->zone_minutes = static_cast<int16_t>(zone);
    return moment.has_date;
}

bool ParseInterval(int32_t type_id, std::string_view text, int64_t *count) {
    const IntervalForm form = FormOf(type_id);
    Scanner scan{text};
    scan.SkipBlanks();
    const bool negative = scan.Take('-');
    if (!negative) scan.Take('+');
    int64_t total = 0;
    for (int unit = form.first; unit <= form.last; unit++) {
        const bool first = unit == form.first;
        if (!first && !scan.Take(SeparatorBefore(static_cast<Unit>(unit)))) return false;
        // Clients print each field with a sign of its own: minus one year and two months is
        // "-1--2".
        const bool field_negative = !first && scan.Take('-') && !negative;
        int64_t field = 0;
        if (!scan.Number(first ? INTERVAL_DIGITS_MAX : 2, &field)) return false;
        const int64_t per_unit = PerUnitBefore(static_cast<Unit>(unit));
        if (!first && field >= per_unit) return false;
        total = first ? field : total * per_unit + (field_negative ? -field : field);
    }
    int64_t fraction = 0;
    if (form.last == UNIT_SECOND) {
        if (!scan.Fraction(&fraction) || std::abs(total) > INTERVAL_SECONDS_MAX) return false;
        total = total * MICROS_PER_SECOND + fraction;
    }
    if (!AtEnd(&scan)) return false;
    *count = negative ? -total : total;
    if (form.last == UNIT_SECOND) return true;
    return *count >= std::numeric_limits<int32_t>::min() &&
           *count <= std::numeric_limits<int32_t>::max();
}

std::string FormatDate(int32_t days) {
    return DateText(days);
}

std::string FormatTime(int32_t milliseconds) {
    return TimeText(static_cast<int64_t>(milliseconds) * 1000, 3);
}

std::string FormatDateTime(int64_t milliseconds) {
    const int64_t days = FloorDivide(milliseconds, MILLIS_PER_DAY);
    return DateText(days) + " " + TimeText((milliseconds - days * MILLIS_PER_DAY) * 1000, 3);
}

std::string FormatTimeZoned(const Zoned &value) {
    const int64_t local = value.count + static_cast<int64_t>(value.zone_minutes) * 60000;
    return TimeText(local * 1000, 3) + ZoneText(value.zone_minutes);
}

std::string FormatDateTimeZoned(const Zoned &value) {
    const int64_t local =
        value.count + static_cast<int64_t>(value.zone_minutes) * 60 * MICROS_PER_SECOND;
    const int64_t days = FloorDivide(local, MICROS_PER_DAY);
    return DateText(days) + " " + TimeText(local - days * MICROS_PER_DAY, 6) +
           ZoneText(value.zone_minutes);
}

std::string FormatInterval(int32_t type_id, int64_t count) {
    const IntervalForm form = FormOf(type_id);
    const uint64_t magnitude =
        count < 0 ? uint64_t{0} - static_cast<uint64_t>(count) : static_cast<uint64_t>(count);
    uint64_t left = magnitude;
    std::string tail;
    if (form.last == UNIT_SECOND) {
        const uint64_t micros = left % MICROS_PER_SECOND;
        left /= MICROS_PER_SECOND;
        char fraction[32];
        std::snprintf(fraction, sizeof(fraction), ".%06llu",
                      static_cast<unsigned long long>(micros));
        if (micros != 0) tail = fraction;
    }
    for (int unit = form.last; unit > form.first; unit--) {
        const uint64_t per_unit = static_cast<uint64_t>(PerUnitBefore(static_cast<Unit>(unit)));
        char field[32];
        std::snprintf(field, sizeof(field), "%c%02llu", SeparatorBefore(static_cast<Unit>(unit)),
                      static_cast<unsigned long long>(left % per_unit));
        tail.insert(0, field);
        left /= per_unit;
    }
    return (count < 0 ? "-" : "") + std::to_string(left) + tail;
}

}  // namespace tavud
