// Counts of days, milliseconds and months into calendar and interval records.
//
// Counts start at 1970-01-01 00:00:00. A split sets the members that belong to it and leaves the
// others of the record as they were.
#pragma once

#include <cstdint>

#include "tavu/tvci.h"

constexpr int64_t MICROSECONDS_PER_SECOND = 1000000;

// The kinds of an IntervalRec: which members it uses.
enum IntervalKind {
    INTERVAL_KIND_YEAR = 1,
    INTERVAL_KIND_MONTH = 2,
    INTERVAL_KIND_DAY = 3,
    INTERVAL_KIND_HOUR = 4,
    INTERVAL_KIND_MINUTE = 5,
    INTERVAL_KIND_SECOND = 6,
    INTERVAL_KIND_YEAR_MONTH = 7,
    INTERVAL_KIND_DAY_HOUR = 8,
    INTERVAL_KIND_DAY_MINUTE = 9,
    INTERVAL_KIND_DAY_SECOND = 10,
    INTERVAL_KIND_HOUR_MINUTE = 11,
    INTERVAL_KIND_HOUR_SECOND = 12,
    INTERVAL_KIND_MINUTE_SECOND = 13
};

bool IsLeap(int32_t year);
void SplitDate(int32_t days, DateRec *record);
void SplitTime(int32_t milliseconds, TimeRec *record);
// `fraction` is in milliseconds.
void SplitDateTimeMillis(int64_t count, DateTimeRec *record);
// `fraction` is the remainder in microseconds, and for a count below 0 that remainder plus 1000.
void SplitDateTimeMicros(int64_t count, DateTimeRec *record);

// Every unit is cut by a division towards zero, so that a count below 0 gives members below 0.
// The tagged forms set `kind` as well.
void SplitYearMonthTagged(int32_t months, IntervalRec *record);
void SplitYearMonth(int32_t months, IntervalYmRec *record);
void SplitDayHourTagged(int32_t hours, IntervalRec *record);
void SplitDayHour(int32_t hours, IntervalDsRec *record);
void SplitDayMinuteTagged(int32_t minutes, IntervalRec *record);
void SplitDayMinute(int32_t minutes, IntervalDsRec *record);
void SplitHourMinuteTagged(int32_t minutes, IntervalRec *record);
void SplitHourMinute(int32_t minutes, IntervalDsRec *record);
void SplitDaySecondTagged(int64_t microseconds, IntervalRec *record);
void SplitDaySecond(int64_t microseconds, IntervalDsRec *record);
void SplitHourSecondTagged(int64_t microseconds, IntervalRec *record);
void SplitHourSecond(int64_t microseconds, IntervalDsRec *record);
void SplitMinuteSecondTagged(int64_t microseconds, IntervalRec *record);
void SplitMinuteSecond(int64_t microseconds, IntervalDsRec *record);
