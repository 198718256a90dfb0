// Counts of days, milliseconds and months into calendar and interval records.
#pragma once

#include <cstdint>

#include "tavu/tvci.h"

bool IsLeap(int32_t year);
void SplitDate(int32_t days, DateRec *record);
void SplitTime(int32_t milliseconds, TimeRec *record);
void SplitDateTimeMillis(int64_t count, DateTimeRec *record);
void SplitDateTimeMicros(int64_t count, DateTimeRec *record);
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
