// Column values as text.
#include "values/render.h"

#include <charconv>
#include <cstdio>

#include "platform/text.h"
#include "values/datetime.h"
#include "values/zoned.h"

// The length that snprintf kept in a rendering buffer, of the one it reports.
static int32_t KeptBytes(int printed) {
    return std::clamp(printed, 0, RENDER_BYTES - 1);
}

static int32_t CopyText(const char *source, size_t source_bytes, char *text) {
    TextCopyBytes(text, RENDER_BYTES, source, source_bytes);
    return (int32_t)strlen(text);
}

static int32_t RenderInteger(int64_t integer, char *text) {
    char *end = std::to_chars(text, text + RENDER_BYTES - 1, integer).ptr;
    *end = '\0';
    return (int32_t)(end - text);
}

static int32_t RenderBoolean(uint8_t letter, char *text) {
    const char *word = letter == 'T' ? "TRUE" : letter == 'F' ? "FALSE" : "UNKNOWN";
    return CopyText(word, strlen(word), text);
}

// Decimals by the count of digits before the point, so that there are 16 digits in all.
void DoubleToText(char *text, double value) {
    char whole[DOUBLE_TEXT_BYTES];
    const int printed = snprintf(whole, sizeof(whole), "%.0lf", value);
    const int digits = whole[0] == '-' ? printed - 1 : printed;
    const int decimals = digits >= 1 && digits <= 15 ? 16 - digits : 6;
    snprintf(text, DOUBLE_TEXT_BYTES, "%.*lf", decimals, value);
}

static int32_t RenderDouble(double value, RenderForm form, char *text) {
    if (form == RENDER_FOR_OUT_PARAMETER) {
        return KeptBytes(snprintf(text, RENDER_BYTES, "%g", value));
    }
    char whole[DOUBLE_TEXT_BYTES];
    DoubleToText(whole, value);
    return CopyText(whole, strlen(whole), text);
}

// The texts of DATE and TIME without leading zeros.
static bool IsUnpadded(RenderForm form) {
    return form == RENDER_FOR_DEFINE || form == RENDER_FOR_OUT_PARAMETER;
}

static int32_t RenderDate(int32_t days, RenderForm form, char *text) {
    DateRec date;
    SplitDate(days, &date);
    return KeptBytes(snprintf(text, RENDER_BYTES, IsUnpadded(form) ? "%d-%d-%d" : "%04d-%02d-%02d",
                              date.year, date.month, date.day));
}

static int32_t RenderTime(int32_t milliseconds, RenderForm form, char *text) {
    TimeRec time;
    SplitTime(milliseconds, &time);
    return KeptBytes(snprintf(text, RENDER_BYTES, IsUnpadded(form) ? "%d:%d:%d" : "%02d:%02d:%02d",
                              time.hour, time.minute, time.second));
}

// The zone's whole hours only; half an hour of zone is not shown.
static int32_t RenderTimeTz(const ColumnValue *value, RenderForm form, char *text) {
    TimeTzRec time;
    ReadTimeTz(value, &time);
    return KeptBytes(snprintf(
        text, RENDER_BYTES, form == RENDER_FOR_DEFINE ? "%d:%02d:%02d %+02d:00" : "%d:%02d:%02d%+d",
        time.hour, time.minute, time.second, time.tz_hour));
}

static int32_t RenderDateTime(int64_t count, RenderForm form, char *text) {
    DateTimeRec date;
    if (form == RENDER_FOR_OUT_PARAMETER) {
        SplitDateTimeMicros(count, &date);
        return KeptBytes(snprintf(text, RENDER_BYTES, "%d-%02d-%02d %02d:%02d:%02d", date.year,
                                  date.month, date.day, date.hour, date.minute, date.second));
    }
    SplitDateTimeMillis(count, &date);
    if (form == RENDER_FOR_DEFINE) {
        return KeptBytes(snprintf(text, RENDER_BYTES, "%d-%02d-%02d %02d:%02d:%02d.%03d", date.year,
                                  date.month, date.day, date.hour, date.minute, date.second,
                                  date.fraction));
    }
    return KeptBytes(snprintf(text, RENDER_BYTES, "%04d-%02d-%02d %02d:%02d:%02d", date.year,
                              date.month, date.day, date.hour, date.minute, date.second));
}

static const char *DateTimeTzFormat(RenderForm form) {
    switch (form) {
        case RENDER_FOR_DEFINE: return "%d-%02d-%02d %02d:%02d:%02d %+02d:00";
        case RENDER_FOR_COLUMN: return "%d-%02d-%02d %02d:%02d:%02d%+d";
        default: return "%04d-%02d-%02d %02d:%02d:%02d%+d";
    }
}

static int32_t RenderDateTimeTz(const ColumnValue *value, RenderForm form, char *text) {
    DateTimeTzRec date;
    ReadDateTimeTz(value, &date);
    return KeptBytes(snprintf(text, RENDER_BYTES, DateTimeTzFormat(form), date.year, date.month,
                              date.day, date.hour, date.minute, date.second, date.tz_hour));
}

// The intervals of more than one unit that are counted in months, hours and minutes.
static int32_t RenderInterval(int32_t type, int32_t count, char *text) {
    IntervalYmRec months;
    IntervalDsRec days;
    int printed = 0;
    switch (type) {
        case TYPE_INTERVAL_YEAR_MONTH:
            SplitYearMonth(count, &months);
            printed = snprintf(text, RENDER_BYTES, "%d-%02d", months.year, months.month);
            break;
        case TYPE_INTERVAL_DAY_HOUR:
            SplitDayHour(count, &days);
            printed = snprintf(text, RENDER_BYTES, "%d %02d", days.day, days.hour);
            break;
        case TYPE_INTERVAL_DAY_MINUTE:
            SplitDayMinute(count, &days);
            printed =
                snprintf(text, RENDER_BYTES, "%d %02d:%02d", days.day, days.hour, days.minute);
            break;
        case TYPE_INTERVAL_HOUR_MINUTE:
            SplitHourMinute(count, &days);
            printed = snprintf(text, RENDER_BYTES, "%d:%02d", days.hour, days.minute);
            break;
    }
    return KeptBytes(printed);
}

// The intervals that are counted in microseconds. A fraction of a second is not shown, and the hour
// behind days is padded in an output parameter only.
static int32_t RenderSecondInterval(int32_t type, int64_t count, RenderForm form, char *text) {
    IntervalDsRec days;
    int printed = 0;
    switch (type) {
        case TYPE_INTERVAL_DAY_SECOND:
            SplitDaySecond(count, &days);
            printed =
                snprintf(text, RENDER_BYTES,
                         form == RENDER_FOR_OUT_PARAMETER ? "%d %02d:%02d:%02d" : "%d %d:%02d:%02d",
                         days.day, days.hour, days.minute, days.second);
            break;
        case TYPE_INTERVAL_HOUR_SECOND:
            SplitHourSecond(count, &days);
            printed =
                snprintf(text, RENDER_BYTES, "%d:%02d:%02d", days.hour, days.minute, days.second);
            break;
        case TYPE_INTERVAL_MINUTE_SECOND:
            SplitMinuteSecond(count, &days);
            printed = snprintf(text, RENDER_BYTES, "%d:%02d", days.minute, days.second);
            break;
    }
    return KeptBytes(printed);
}

int32_t RenderValue(const ColumnValue *value, RenderForm form, char *text) {
    const uint8_t *bytes = value->bytes;
    switch (value->type) {
        case TYPE_BOOLEAN: return RenderBoolean(bytes[0], text);
        case TYPE_TINYINT: return RenderInteger(LoadAs<int8_t>(bytes), text);
        case TYPE_SMALLINT: return RenderInteger(LoadAs<int16_t>(bytes), text);
        case TYPE_INTEGER:
        case TYPE_INTERVAL_YEAR:
        case TYPE_INTERVAL_MONTH:
        case TYPE_INTERVAL_DAY:
        case TYPE_INTERVAL_HOUR:
        case TYPE_INTERVAL_MINUTE: return RenderInteger(LoadAs<int32_t>(bytes), text);
        case TYPE_BIGINT: return RenderInteger(LoadAs<int64_t>(bytes), text);
        case TYPE_GUID:
            if (form == RENDER_FOR_TEXT) return 0;
            return CopyText((const char *)bytes, (size_t)value->length, text);
        case TYPE_NUMERIC: return CopyText((const char *)bytes, (size_t)value->length, text);
        case TYPE_FLOAT:
            return KeptBytes(snprintf(text, RENDER_BYTES, "%f", (double)LoadAs<float>(bytes)));
        case TYPE_DOUBLE: return RenderDouble(LoadAs<double>(bytes), form, text);
        case TYPE_DATE: return RenderDate(LoadAs<int32_t>(bytes), form, text);
        case TYPE_TIME: return RenderTime(LoadAs<int32_t>(bytes), form, text);
        case TYPE_TIME_TZ: return RenderTimeTz(value, form, text);
        case TYPE_DATETIME: return RenderDateTime(LoadAs<int64_t>(bytes), form, text);
        case TYPE_DATETIME_TZ: return RenderDateTimeTz(value, form, text);
        case TYPE_INTERVAL_YEAR_MONTH:
        case TYPE_INTERVAL_DAY_HOUR:
        case TYPE_INTERVAL_DAY_MINUTE:
        case TYPE_INTERVAL_HOUR_MINUTE:
            return RenderInterval(value->type, LoadAs<int32_t>(bytes), text);
        case TYPE_INTERVAL_DAY_SECOND:
        case TYPE_INTERVAL_HOUR_SECOND:
        case TYPE_INTERVAL_MINUTE_SECOND:
            return RenderSecondInterval(value->type, LoadAs<int64_t>(bytes), form, text);
        case TYPE_INTERVAL_SECOND:
            return RenderInteger(LoadAs<int64_t>(bytes) / MICROSECONDS_PER_SECOND, text);
        default: return 0;
    }
}
