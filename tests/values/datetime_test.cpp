// The splits of counts into date, time and interval records.
#include "values/datetime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <ostream>
#include <tuple>

static bool operator==(const DateRec &a, const DateRec &b) {
    return a.year == b.year && a.month == b.month && a.day == b.day;
}

static std::ostream &operator<<(std::ostream &out, const DateRec &date) {
    return out << date.year << "-" << date.month << "-" << date.day;
}

static bool operator==(const TimeRec &a, const TimeRec &b) {
    return a.hour == b.hour && a.minute == b.minute && a.second == b.second;
}

static std::ostream &operator<<(std::ostream &out, const TimeRec &time) {
    return out << time.hour << ":" << time.minute << ":" << time.second;
}

static bool operator==(const DateTimeRec &a, const DateTimeRec &b) {
    return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
           a.minute == b.minute && a.second == b.second && a.fraction == b.fraction;
}

static std::ostream &operator<<(std::ostream &out, const DateTimeRec &date) {
    return out << date.year << "-" << date.month << "-" << date.day << " " << date.hour << ":"
               << date.minute << ":" << date.second << "." << date.fraction;
}

static bool operator==(const IntervalRec &a, const IntervalRec &b) {
    return a.kind == b.kind && a.year_or_day == b.year_or_day &&
           a.month_or_hour == b.month_or_hour && a.minute == b.minute && a.second == b.second &&
           a.fraction == b.fraction;
}

static std::ostream &operator<<(std::ostream &out, const IntervalRec &record) {
    return out << record.kind << ": " << record.year_or_day << " " << record.month_or_hour << " "
               << record.minute << " " << record.second << " " << record.fraction;
}

static bool operator==(const IntervalDsRec &a, const IntervalDsRec &b) {
    return a.day == b.day && a.hour == b.hour && a.minute == b.minute && a.second == b.second &&
           a.fraction == b.fraction;
}

static std::ostream &operator<<(std::ostream &out, const IntervalDsRec &record) {
    return out << record.day << " " << record.hour << " " << record.minute << " " << record.second
               << " " << record.fraction;
}

static bool operator==(const IntervalYmRec &a, const IntervalYmRec &b) {
    return a.year == b.year && a.month == b.month;
}

static std::ostream &operator<<(std::ostream &out, const IntervalYmRec &record) {
    return out << record.year << " " << record.month;
}

static DateRec DateOf(int32_t days) {
    DateRec record = {99, 99, 99};
    SplitDate(days, &record);
    return record;
}

static TimeRec TimeOf(int32_t milliseconds) {
    TimeRec record = {99, 99, 99};
    SplitTime(milliseconds, &record);
    return record;
}

static DateTimeRec OfMillis(int64_t count) {
    DateTimeRec record = {99, 99, 99, 99, 99, 99, 99};
    SplitDateTimeMillis(count, &record);
    return record;
}

static DateTimeRec OfMicros(int64_t count) {
    DateTimeRec record = {99, 99, 99, 99, 99, 99, 99};
    SplitDateTimeMicros(count, &record);
    return record;
}

// The calendar's own answer for a day count.
static DateRec TrueDate(int32_t days) {
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{days}}};
    return {(int)date.year(), (int)(unsigned)date.month(), (int)(unsigned)date.day()};
}

static int32_t DaysOf(int year, unsigned month, unsigned day) {
    const std::chrono::sys_days date =
        std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day};
    return (int32_t)date.time_since_epoch().count();
}

TEST(IsLeap, FollowsTheRuleOf400) {
    EXPECT_TRUE(IsLeap(2000));
    EXPECT_TRUE(IsLeap(1972));
    EXPECT_FALSE(IsLeap(1900));
    EXPECT_FALSE(IsLeap(2100));
    EXPECT_FALSE(IsLeap(1970));
    EXPECT_TRUE(IsLeap(0));
    EXPECT_TRUE(IsLeap(-4));
    EXPECT_FALSE(IsLeap(-1));
}

TEST(SplitDate, NamedDaysFrom1970) {
    EXPECT_EQ((DateRec{1970, 1, 1}), DateOf(0));
    EXPECT_EQ((DateRec{1969, 12, 31}), DateOf(-1));
    EXPECT_EQ((DateRec{1971, 1, 1}), DateOf(365));
    EXPECT_EQ((DateRec{1972, 2, 29}), DateOf(789));
    EXPECT_EQ((DateRec{1972, 3, 1}), DateOf(790));
    EXPECT_EQ((DateRec{9999, 12, 31}), DateOf(2932896));
}

TEST(SplitDate, EveryDayTo9999IsTheTrueDate) {
    for (int32_t days = 0; days <= 2932896; days++) {
        ASSERT_EQ(TrueDate(days), DateOf(days)) << days;
    }
}

TEST(SplitDate, TheYearsBehind9999AreTrue) {
    // More than 400 years: every place in the cycle of the leap years.
    for (int32_t days = DaysOf(10000, 1, 1); days <= DaysOf(10900, 12, 31); days++) {
        ASSERT_EQ(TrueDate(days), DateOf(days)) << days;
    }
}

TEST(SplitDate, TheYearStartsBefore1969AreTrue) {
    EXPECT_EQ((DateRec{1969, 1, 1}), DateOf(-365));
    EXPECT_EQ((DateRec{1968, 1, 1}), DateOf(-731));
}

TEST(SplitDate, AllOf1967ReadsOneDayEarly) {
    EXPECT_EQ((DateRec{1967, 12, 30}), DateOf(-732));
    EXPECT_EQ((DateRec{1966, 12, 31}), DateOf(-1096));
    for (int32_t days = -1096; days <= -732; days++) {
        ASSERT_EQ(TrueDate(days - 1), DateOf(days)) << days;
    }
}

TEST(SplitDate, EveryFourthYearBackTo1903ReadsOneDayEarlyAndTheOthersAreTrue) {
    for (int32_t year = 1900; year <= 1969; year++) {
        const int32_t days_early = year >= 1903 && year % 4 == 3 ? 1 : 0;
        for (int32_t days = DaysOf(year, 1, 1); days <= DaysOf(year, 12, 31); days++) {
            ASSERT_EQ(TrueDate(days - days_early), DateOf(days)) << year << " " << days;
        }
    }
}

TEST(SplitDate, TheYearTo18911230ReadsOneDayEarly) {
    for (int32_t days = DaysOf(1890, 12, 31); days <= DaysOf(1891, 12, 30); days++) {
        ASSERT_EQ(TrueDate(days - 1), DateOf(days)) << days;
    }
    EXPECT_EQ((DateRec{1890, 12, 30}), DateOf(DaysOf(1890, 12, 30)));
    EXPECT_EQ((DateRec{1891, 12, 31}), DateOf(DaysOf(1891, 12, 31)));
}

// Whether a day of the years 1 to 1899 is one that reads early. There are a year of such days in
// every fourth year; from the 71st year of a century on they begin and end a day sooner, unless the
// century ends in a leap year, and its last year has none.
static bool ReadsEarly(int32_t days) {
    const int32_t year = TrueDate(days).year;
    const bool leap_century = (year / 100 + 1) % 4 == 0;
    if (year % 100 < 70 || leap_century) return year % 4 == 3;
    const int32_t year_tomorrow = TrueDate(days + 1).year;
    return year_tomorrow % 4 == 3 && year_tomorrow % 100 != 99;
}

TEST(SplitDate, EveryDayBackToTheYear1IsTrueOrReadsOneDayEarly) {
    for (int32_t days = DaysOf(1, 1, 1); days <= DaysOf(1899, 12, 31); days++) {
        ASSERT_EQ(TrueDate(days - ReadsEarly(days)), DateOf(days)) << days;
    }
}

TEST(SplitDate, TheEndsOfTheRange) {
    EXPECT_EQ((DateRec{5881580, 7, 11}), DateOf(INT32_MAX));
    EXPECT_EQ((DateRec{-5877641, 6, 22}), DateOf(INT32_MIN));
}

TEST(SplitTime, CutsMillisecondsAndDoesNotReduceHours) {
    EXPECT_EQ((TimeRec{0, 0, 0}), TimeOf(0));
    EXPECT_EQ((TimeRec{0, 0, 0}), TimeOf(999));
    EXPECT_EQ((TimeRec{23, 59, 59}), TimeOf(86399999));
    EXPECT_EQ((TimeRec{24, 0, 0}), TimeOf(86400000));
    EXPECT_EQ((TimeRec{0, 0, 0}), TimeOf(-1));
    EXPECT_EQ((TimeRec{-1, -2, -3}), TimeOf(-3723000));
    EXPECT_EQ((TimeRec{596, 31, 23}), TimeOf(INT32_MAX));
    EXPECT_EQ((TimeRec{-596, -31, -23}), TimeOf(INT32_MIN));
}

TEST(SplitDateTimeMillis, MinusOneIsTheLastMillisecondOf1969) {
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 23, 59, 59, 999}), OfMillis(-1));
}

TEST(SplitDateTimeMillis, The29thOfFebruary2000Exists) {
    EXPECT_EQ((DateTimeRec{2000, 2, 29, 0, 0, 0, 0}), OfMillis(951782400000));
}

TEST(SplitDateTimeMillis, NamedCounts) {
    EXPECT_EQ((DateTimeRec{1970, 1, 1, 0, 0, 0, 0}), OfMillis(0));
    EXPECT_EQ((DateTimeRec{1970, 1, 2, 1, 1, 1, 1}), OfMillis(90061001));
    EXPECT_EQ((DateTimeRec{9999, 12, 31, 23, 59, 59, 999}), OfMillis(253402300799999));
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 0, 0, 0, 0}), OfMillis(-86400000));
    EXPECT_EQ((DateTimeRec{1969, 12, 30, 23, 59, 59, 999}), OfMillis(-86400001));
    EXPECT_EQ((DateTimeRec{1968, 1, 1, 0, 0, 0, 0}), OfMillis(-63158400000));
    EXPECT_EQ((DateTimeRec{1967, 12, 29, 23, 59, 59, 999}), OfMillis(-63244800001));
}

TEST(SplitDateTimeMillis, DaysAreCutTo32BitsBeforeTheirSignIsRead) {
    EXPECT_EQ((DateTimeRec{1705471, 9, 26, 16, 47, 4, 192}), OfMillis(INT64_MIN));
    EXPECT_EQ((DateTimeRec{-1701532, 4, 5, 7, 12, 55, 807}), OfMillis(INT64_MAX));
}

TEST(SplitDateTimeMicros, MinusOneHasAFractionOf999) {
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 23, 59, 59, 999}), OfMicros(-1));
}

TEST(SplitDateTimeMicros, MinusTwoThousandHasAFractionOfMinusOneThousand) {
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 23, 59, 59, -1000}), OfMicros(-2000));
}

TEST(SplitDateTimeMicros, OneAndAHalfSeconds) {
    EXPECT_EQ((DateTimeRec{1970, 1, 1, 0, 0, 1, 500000}), OfMicros(1500000));
}

TEST(SplitDateTimeMicros, NamedCounts) {
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 23, 59, 59, 0}), OfMicros(-1000));
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 23, 59, 59, -998999}), OfMicros(-999999));
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 23, 59, 59, 0}), OfMicros(-1000000));
    EXPECT_EQ((DateTimeRec{1969, 12, 31, 23, 59, 58, 999}), OfMicros(-1000001));
    EXPECT_EQ((DateTimeRec{294247, 1, 10, 4, 0, 54, 775807}), OfMicros(INT64_MAX));
    EXPECT_EQ((DateTimeRec{-290308, 12, 20, 19, 59, 5, -774808}), OfMicros(INT64_MIN));
}

// The record before a split, so that a member that is left alone shows.
static IntervalRec Tagged(void (*split)(int32_t, IntervalRec *), int32_t count) {
    IntervalRec record = {99, 99, 99, 99, 99, 99};
    split(count, &record);
    return record;
}

static IntervalRec Tagged(void (*split)(int64_t, IntervalRec *), int64_t count) {
    IntervalRec record = {99, 99, 99, 99, 99, 99};
    split(count, &record);
    return record;
}

static IntervalDsRec DaySecond(void (*split)(int32_t, IntervalDsRec *), int32_t count) {
    IntervalDsRec record = {99, 99, 99, 99, 99};
    split(count, &record);
    return record;
}

static IntervalDsRec DaySecond(void (*split)(int64_t, IntervalDsRec *), int64_t count) {
    IntervalDsRec record = {99, 99, 99, 99, 99};
    split(count, &record);
    return record;
}

TEST(SplitYearMonth, MinusFourteenMonthsAreMinusOneYearMinusTwoMonths) {
    IntervalYmRec record = {99, 99};
    SplitYearMonth(-14, &record);
    EXPECT_EQ((IntervalYmRec{-1, -2}), record);
    EXPECT_EQ((IntervalRec{7, -1, -2, 99, 99, 99}), Tagged(SplitYearMonthTagged, -14));
}

TEST(SplitYearMonth, TheEndsOfTheRange) {
    EXPECT_EQ((IntervalRec{7, 178956970, 7, 99, 99, 99}), Tagged(SplitYearMonthTagged, INT32_MAX));
    EXPECT_EQ((IntervalRec{7, -178956970, -8, 99, 99, 99}),
              Tagged(SplitYearMonthTagged, INT32_MIN));
}

TEST(SplitDayHour, SetsDayAndHour) {
    EXPECT_EQ((IntervalRec{8, 1, 2, 99, 99, 99}), Tagged(SplitDayHourTagged, 26));
    EXPECT_EQ((IntervalRec{8, -1, -2, 99, 99, 99}), Tagged(SplitDayHourTagged, -26));
    EXPECT_EQ((IntervalDsRec{1, 2, 99, 99, 99}), DaySecond(SplitDayHour, 26));
    EXPECT_EQ((IntervalDsRec{0, -23, 99, 99, 99}), DaySecond(SplitDayHour, -23));
}

TEST(SplitDayMinute, SetsDayHourAndMinute) {
    EXPECT_EQ((IntervalRec{9, 1, 2, 3, 99, 99}), Tagged(SplitDayMinuteTagged, 1563));
    EXPECT_EQ((IntervalRec{9, -1, -2, -3, 99, 99}), Tagged(SplitDayMinuteTagged, -1563));
    EXPECT_EQ((IntervalDsRec{1, 2, 3, 99, 99}), DaySecond(SplitDayMinute, 1563));
    EXPECT_EQ((IntervalDsRec{0, 0, -59, 99, 99}), DaySecond(SplitDayMinute, -59));
}

TEST(SplitHourMinute, SetsHourAndMinuteAndLeavesTheDay) {
    EXPECT_EQ((IntervalRec{11, 99, 25, 1, 99, 99}), Tagged(SplitHourMinuteTagged, 1501));
    EXPECT_EQ((IntervalRec{11, 99, -25, -1, 99, 99}), Tagged(SplitHourMinuteTagged, -1501));
    EXPECT_EQ((IntervalDsRec{99, 25, 1, 99, 99}), DaySecond(SplitHourMinute, 1501));
}

TEST(SplitDaySecond, SetsAllFive) {
    EXPECT_EQ((IntervalRec{10, 1, 2, 3, 4, 5}), Tagged(SplitDaySecondTagged, 93784000005));
    EXPECT_EQ((IntervalRec{10, -1, -2, -3, -4, -5}), Tagged(SplitDaySecondTagged, -93784000005));
    EXPECT_EQ((IntervalDsRec{1, 2, 3, 4, 5}), DaySecond(SplitDaySecond, 93784000005));
    EXPECT_EQ((IntervalDsRec{0, 0, 0, 0, -1}), DaySecond(SplitDaySecond, -1));
}

TEST(SplitDaySecond, SecondsAreCutTo32Bits) {
    EXPECT_EQ((IntervalDsRec{24042, 6, 32, 22, 775807}), DaySecond(SplitDaySecond, INT64_MAX));
    EXPECT_EQ((IntervalDsRec{-24042, -6, -32, -22, -775808}), DaySecond(SplitDaySecond, INT64_MIN));
}

TEST(SplitHourSecond, OneHourOneMinuteOneSecond) {
    EXPECT_EQ((IntervalRec{12, 99, 1, 1, 1, 0}), Tagged(SplitHourSecondTagged, 3661000000));
    EXPECT_EQ((IntervalDsRec{99, 1, 1, 1, 0}), DaySecond(SplitHourSecond, 3661000000));
    EXPECT_EQ((IntervalDsRec{99, -1, -1, -1, -7}), DaySecond(SplitHourSecond, -3661000007));
}

TEST(SplitMinuteSecond, SetsMinuteSecondAndFraction) {
    EXPECT_EQ((IntervalRec{13, 99, 99, 61, 2, 3}), Tagged(SplitMinuteSecondTagged, 3662000003));
    EXPECT_EQ((IntervalDsRec{99, 99, 61, 2, 3}), DaySecond(SplitMinuteSecond, 3662000003));
    EXPECT_EQ((IntervalDsRec{99, 99, 0, -1, 0}), DaySecond(SplitMinuteSecond, -1000000));
}
