// Counts of days, milliseconds and months into calendar and interval records.
//
// The arithmetic is the one by which every client of this server has read its dates. From 1970 on
// it is the Gregorian calendar; before, it counts leap days one year too far, so that the years in
// front of a leap year (1967, 1963 and so on) read one day early. Applications have stored what
// they read, so this stays as it is.
#include "values/datetime.h"

constexpr int32_t SECONDS_PER_DAY = 86400;
constexpr int32_t DAYS_PER_400_YEARS = 146097;
constexpr int32_t DAYS_PER_100_YEARS = 36524;
constexpr int32_t DAYS_PER_4_YEARS = 1461;
// Leap days of the calendar up to the end of 1969.
constexpr int32_t LEAP_DAYS_TO_1969 = 477;
// 9999-12-31.
constexpr uint32_t LAST_USUAL_DAY = 2932896;
// Days from 0000-03-01 to 1970-01-01.
constexpr uint32_t DAYS_FROM_MARCH_0000 = 719468;

// Days before each month; the last entry is the length of the year.
static const int32_t month_table[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366},
};

bool IsLeap(int32_t year) {
    return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
}

static int32_t YearDays(int32_t year) {
    return IsLeap(year) ? 366 : 365;
}

static int32_t LeapDaysSince1969(int32_t year) {
    return year / 4 - year / 100 + year / 400 - LEAP_DAYS_TO_1969;
}

// The multiples of 400, 100 and 4 years in a day count, as years; `*rest` is what is left of days.
static int32_t WholeCycles(int32_t days, int32_t *rest) {
    const int32_t in_400 = days % DAYS_PER_400_YEARS;
    const int32_t in_100 = in_400 % DAYS_PER_100_YEARS;
    *rest = in_100 % DAYS_PER_4_YEARS;
    return days / DAYS_PER_400_YEARS * 400 + in_400 / DAYS_PER_100_YEARS * 100 +
           in_100 / DAYS_PER_4_YEARS * 4;
}

// Sets the year of a day count; returns the day in it, from 0, which the date step still corrects.
static int32_t YearFromDays(int32_t days, int32_t *year_out) {
    int32_t rest;
    int32_t year = 1970 + WholeCycles(days, &rest);
    year += (rest > 1096) + (rest > 730) + (rest > 365) - (rest == 0);
    *year_out = year;
    return days - (year - 1970) * 365 - LeapDaysSince1969(year - 1);
}

// The same for a count below 0.
static int32_t YearFromDaysBefore1970(int32_t days, int32_t *year_out) {
    int32_t rest;
    int32_t year = 1969 + WholeCycles(days, &rest);
    year += (rest == 0) - (rest < -1096) - (rest < -731) - (rest < -365);
    *year_out = year;
    const int32_t day = days - (year - 1969) * 365 - LeapDaysSince1969(year + 1);
    return day + YearDays(year);
}

struct YearMonthDay {
    int32_t year, month, day;
};

static YearMonthDay DateFromDays(int32_t days) {
    int32_t year;
    int32_t day = days >= 0 ? YearFromDays(days, &year) : YearFromDaysBefore1970(days, &year);
    if (day < 0) {
        year--;
        day += YearDays(year);
    }
    day++;
    if (day > YearDays(year)) {
        day -= YearDays(year);
        year++;
    }
    const int32_t *table = month_table[IsLeap(year)];
    for (int32_t month = 0; month < 12; month++) {
        if (day > table[month] && day <= table[month + 1]) {
            return {year, month + 1, day - table[month]};
        }
    }
    return {year, 13, day};
}

// The same result for the days from 1970 to 9999, which nearly all rows hold, in half the time:
// years that begin in March have their leap day at the end, so that months and years come from
// divisions alone.
static inline YearMonthDay UsualDateFromDays(uint32_t days) {
    const uint32_t count = days + DAYS_FROM_MARCH_0000;
    const uint32_t century = (4 * count + 3) / 146097;
    const uint32_t in_century = count - century * 146097 / 4;
    const uint32_t year = (4 * in_century + 3) / 1461;
    const uint32_t in_year = in_century - year * 1461 / 4;
    const uint32_t month = (5 * in_year + 2) / 153;
    const uint32_t day = in_year - (153 * month + 2) / 5 + 1;
    const uint32_t next_year = month >= 10;
    return {(int32_t)(century * 100 + year + next_year),
            (int32_t)(next_year != 0 ? month - 9 : month + 3), (int32_t)day};
}

static inline YearMonthDay SplitDays(int32_t days) {
    return (uint32_t)days <= LAST_USUAL_DAY ? UsualDateFromDays((uint32_t)days)
                                            : DateFromDays(days);
}

void SplitDate(int32_t days, DateRec *record) {
    const YearMonthDay date = SplitDays(days);
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
    const YearMonthDay date = SplitDays(days);
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
