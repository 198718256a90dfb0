// Counts of days, milliseconds and months into calendar and interval records.
//
// The arithmetic is the one by which every client of this server has read its dates. From 1970 on
// it is the Gregorian calendar; before, it counts leap days one year too far, so that the years
// behind a leap year's end (1967, 1963 and so on) read one day early. Applications have stored what
// they read, so this stays as it is.
#include "values/datetime.h"

constexpr int32_t SECONDS_PER_DAY = 86400;
constexpr uint32_t DAYS_PER_400_YEARS = 146097;
constexpr uint32_t DAYS_PER_100_YEARS = 36524;
constexpr uint32_t DAYS_PER_4_YEARS = 1461;
// Leap days of the calendar up to the end of 1969.
constexpr uint32_t LEAP_DAYS_TO_1969 = 477;

// Days before each month; the last entry is the length of the year.
static const int32_t month_table[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366},
};

// Every fourth year, and of those that end a century every fourth again: a multiple of 4 ends a
// century if it is a multiple of 25, and is one of 400 if it is one of 16 too.
static inline bool LeapRule(int32_t year) {
    return (year & 3) == 0 && (year % 25 != 0 || (year & 15) == 0);
}

bool IsLeap(int32_t year) {
    return LeapRule(year);
}

static inline int32_t YearDays(bool leap) {
    return leap ? 366 : 365;
}

// Sets the year of a day count; returns the day in it, from 0, which the date step still corrects.
// Unsigned, because a division by a constant takes half the instructions then.
static inline int32_t YearFromDays(uint32_t days, int32_t *year_out) {
    const uint32_t in_400 = days % DAYS_PER_400_YEARS;
    const uint32_t in_100 = in_400 % DAYS_PER_100_YEARS;
    const uint32_t in_4 = in_100 % DAYS_PER_4_YEARS;
    uint32_t year = 1970 + days / DAYS_PER_400_YEARS * 400 + in_400 / DAYS_PER_100_YEARS * 100 +
                    in_100 / DAYS_PER_4_YEARS * 4;
    year += (in_4 > 1096) + (in_4 > 730) + (in_4 > 365) - (in_4 == 0);
    *year_out = (int32_t)year;
    const uint32_t centuries = (year - 1) / 100;
    const uint32_t leap_days = (year - 1) / 4 - centuries + centuries / 4 - LEAP_DAYS_TO_1969;
    return (int32_t)(days - (year - 1970) * 365 - leap_days);
}

// The same for a count below 0.
static int32_t YearFromDaysBefore1970(int32_t days, int32_t *year_out) {
    const int32_t in_400 = days % (int32_t)DAYS_PER_400_YEARS;
    const int32_t in_100 = in_400 % (int32_t)DAYS_PER_100_YEARS;
    const int32_t in_4 = in_100 % (int32_t)DAYS_PER_4_YEARS;
    int32_t year = 1969 + days / (int32_t)DAYS_PER_400_YEARS * 400 +
                   in_400 / (int32_t)DAYS_PER_100_YEARS * 100 +
                   in_100 / (int32_t)DAYS_PER_4_YEARS * 4;
    year += (in_4 == 0) - (in_4 < -1096) - (in_4 < -731) - (in_4 < -365);
    *year_out = year;
    const int32_t next = year + 1;
    const int32_t leap_days = next / 4 - next / 100 + next / 400 - (int32_t)LEAP_DAYS_TO_1969;
    return days - (year - 1969) * 365 - leap_days + YearDays(LeapRule(year));
}

struct YearMonthDay {
    int32_t year, month, day;
};

static inline YearMonthDay DateFromDays(int32_t days) {
    int32_t year;
    int32_t day =
        days >= 0 ? YearFromDays((uint32_t)days, &year) : YearFromDaysBefore1970(days, &year);
    bool leap = LeapRule(year);
    if (day < 0) {
        year--;
        leap = LeapRule(year);
        day += YearDays(leap);
    }
    day++;
    if (day > YearDays(leap)) {
        day -= YearDays(leap);
        year++;
        leap = LeapRule(year);
    }
    const int32_t *table = month_table[leap];
    // No count comes here; what the formulas give never indexes the table unchecked.
    if (day < 1 || day > table[12]) return {year, 13, day};
    // A month has at most 31 days and the year's shorter months do not add up to one of them, so a
    // division by 32 finds the month or the one before it.
    int32_t month = (day - 1) / 32;
    month += day > table[month + 1];
    return {year, month + 1, day - table[month]};
}

void SplitDate(int32_t days, DateRec *record) {
    const YearMonthDay date = DateFromDays(days);
    record->year = date.year;
    record->month = date.month;
    record->day = date.day;
}

void SplitTime(int32_t milliseconds, TimeRec *record) {
    const int32_t seconds = milliseconds / 1000;
    record->hour = seconds / 3600;
    record->minute = seconds % 3600 / 60;
    record->second = seconds % 60;
}

static inline void SetDateTime(int32_t days, uint32_t seconds, int32_t fraction,
                               DateTimeRec *record) {
    const YearMonthDay date = DateFromDays(days);
    record->year = date.year;
    record->month = date.month;
    record->day = date.day;
    record->hour = (int32_t)(seconds / 3600);
    record->minute = (int32_t)(seconds % 3600 / 60);
    record->second = (int32_t)(seconds % 60);
    record->fraction = fraction;
}

// Inlined with the divisor as a constant, so that no division is left. The days are cut to 32 bits
// before their sign is read.
static inline void SplitDateTime(int64_t count, int64_t divisor, DateTimeRec *record) {
    if (count >= 0) {
        const uint64_t all_seconds = (uint64_t)count / (uint64_t)divisor;
        const uint64_t days = all_seconds / SECONDS_PER_DAY;
        SetDateTime((int32_t)(uint32_t)days, (uint32_t)(all_seconds - days * SECONDS_PER_DAY),
                    (int32_t)((uint64_t)count - all_seconds * (uint64_t)divisor), record);
        return;
    }
    int32_t fraction = (int32_t)(count % divisor);
    count /= divisor;
    if (fraction != 0) {
        // 1000 whatever the divisor: microseconds below 0 have always been handed out this way.
        fraction += 1000;
        count--;
    }
    int32_t seconds = (int32_t)(count % SECONDS_PER_DAY);
    uint32_t days = (uint32_t)(count / SECONDS_PER_DAY);
    if (seconds != 0) {
        seconds += SECONDS_PER_DAY;
        days--;
    }
    SetDateTime((int32_t)days, (uint32_t)seconds, fraction, record);
}

void SplitDateTimeMillis(int64_t count, DateTimeRec *record) {
    SplitDateTime(count, 1000, record);
}

void SplitDateTimeMicros(int64_t count, DateTimeRec *record) {
    SplitDateTime(count, MICROSECONDS_PER_SECOND, record);
}

void SplitYearMonthTagged(int32_t months, IntervalRec *record) {
    record->kind = INTERVAL_KIND_YEAR_MONTH;
    record->year_or_day = months / 12;
    record->month_or_hour = months % 12;
}

void SplitYearMonth(int32_t months, IntervalYmRec *record) {
    record->year = months / 12;
    record->month = months % 12;
}

void SplitDayHourTagged(int32_t hours, IntervalRec *record) {
    record->kind = INTERVAL_KIND_DAY_HOUR;
    record->year_or_day = hours / 24;
    record->month_or_hour = hours % 24;
}

void SplitDayHour(int32_t hours, IntervalDsRec *record) {
    record->day = hours / 24;
    record->hour = hours % 24;
}

void SplitDayMinuteTagged(int32_t minutes, IntervalRec *record) {
    record->kind = INTERVAL_KIND_DAY_MINUTE;
    record->year_or_day = minutes / 1440;
    record->month_or_hour = minutes % 1440 / 60;
    record->minute = minutes % 1440 % 60;
}

void SplitDayMinute(int32_t minutes, IntervalDsRec *record) {
    record->day = minutes / 1440;
    record->hour = minutes % 1440 / 60;
    record->minute = minutes % 1440 % 60;
}

void SplitHourMinuteTagged(int32_t minutes, IntervalRec *record) {
    record->kind = INTERVAL_KIND_HOUR_MINUTE;
    record->month_or_hour = minutes / 60;
    record->minute = minutes % 60;
}

void SplitHourMinute(int32_t minutes, IntervalDsRec *record) {
    record->hour = minutes / 60;
    record->minute = minutes % 60;
}

// The whole seconds of an interval, cut to 32 bits.
static int32_t WholeSeconds(int64_t microseconds) {
    return (int32_t)(microseconds / MICROSECONDS_PER_SECOND);
}

static int32_t SecondFraction(int64_t microseconds) {
    return (int32_t)(microseconds % MICROSECONDS_PER_SECOND);
}

void SplitDaySecondTagged(int64_t microseconds, IntervalRec *record) {
    const int32_t seconds = WholeSeconds(microseconds);
    record->kind = INTERVAL_KIND_DAY_SECOND;
    record->year_or_day = seconds / SECONDS_PER_DAY;
    record->month_or_hour = seconds % SECONDS_PER_DAY / 3600;
    record->minute = seconds % 3600 / 60;
    record->second = seconds % 60;
    record->fraction = SecondFraction(microseconds);
}

void SplitDaySecond(int64_t microseconds, IntervalDsRec *record) {
    const int32_t seconds = WholeSeconds(microseconds);
    record->day = seconds / SECONDS_PER_DAY;
    record->hour = seconds % SECONDS_PER_DAY / 3600;
    record->minute = seconds % 3600 / 60;
    record->second = seconds % 60;
    record->fraction = SecondFraction(microseconds);
}

void SplitHourSecondTagged(int64_t microseconds, IntervalRec *record) {
    const int32_t seconds = WholeSeconds(microseconds);
    record->kind = INTERVAL_KIND_HOUR_SECOND;
    record->month_or_hour = seconds / 3600;
    record->minute = seconds % 3600 / 60;
    record->second = seconds % 60;
    record->fraction = SecondFraction(microseconds);
}

void SplitHourSecond(int64_t microseconds, IntervalDsRec *record) {
    const int32_t seconds = WholeSeconds(microseconds);
    record->hour = seconds / 3600;
    record->minute = seconds % 3600 / 60;
    record->second = seconds % 60;
    record->fraction = SecondFraction(microseconds);
}

void SplitMinuteSecondTagged(int64_t microseconds, IntervalRec *record) {
    const int32_t seconds = WholeSeconds(microseconds);
    record->kind = INTERVAL_KIND_MINUTE_SECOND;
    record->minute = seconds / 60;
    record->second = seconds % 60;
    record->fraction = SecondFraction(microseconds);
}

void SplitMinuteSecond(int64_t microseconds, IntervalDsRec *record) {
    const int32_t seconds = WholeSeconds(microseconds);
    record->minute = seconds / 60;
    record->second = seconds % 60;
    record->fraction = SecondFraction(microseconds);
}
