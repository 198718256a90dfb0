// Dates, times and intervals: between their texts and the counts in which they travel.
//
// Each Parse function takes the whole text and returns false when it is no value of its kind. Each
// Format function gives the one text that is stored.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavud {

// A count with its zone: milliseconds of the day for a time, microseconds from 1970 for a date
// with time, both in universal time; the zone in minutes east of it.
struct Zoned {
    int64_t count = 0;
    int16_t zone_minutes = 0;
};

// Whether a count of days lies within the years 1 to 9999, which is all that the functions below
// give and take.
bool IsDay(int64_t days);
// Whether the value, seen in its zone, is a time of day, or a date with time within those years.
bool IsZonedTime(const Zoned &value);
bool IsZonedDateTime(const Zoned &value);

// Days from 1970-01-01. A time behind the date is checked and dropped. Years 1 to 9999.
bool ParseDate(std::string_view text, int32_t *days);
// Milliseconds of the day. A date in front of the time is checked and dropped.
bool ParseTime(std::string_view text, int32_t *milliseconds);
// Milliseconds from 1970-01-01 00:00:00. A date alone is its midnight.
bool ParseDateTime(std::string_view text, int64_t *milliseconds);
// A text without a zone is in universal time.
bool ParseTimeZoned(std::string_view text, Zoned *value);
bool ParseDateTimeZoned(std::string_view text, Zoned *value);
// The count in the unit of the interval's type: years, months, days, hours, minutes, or
// microseconds for all that end in seconds.
bool ParseInterval(int32_t type_id, std::string_view text, int64_t *count);

std::string FormatDate(int32_t days);
std::string FormatTime(int32_t milliseconds);
std::string FormatDateTime(int64_t milliseconds);
std::string FormatTimeZoned(const Zoned &value);
std::string FormatDateTimeZoned(const Zoned &value);
std::string FormatInterval(int32_t type_id, int64_t count);

}  // namespace tavud
