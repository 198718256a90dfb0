// Column values as interval records.
#include "values/interval.h"

#include "values/datetime.h"

static int32_t SecondsOf(const ColumnValue *value) {
    return (int32_t)(LoadAs<int64_t>(value->bytes) / MICROSECONDS_PER_SECOND);
}

static void SetSingle(IntervalRec *record, IntervalKind kind, int32_t *member, int32_t count) {
    record->kind = kind;
    *member = count;
}

static bool FillInterval(const ColumnValue *value, IntervalRec *record) {
    const int32_t count = LoadAs<int32_t>(value->bytes);
    switch (value->type) {
        case TYPE_INTERVAL_YEAR:
            SetSingle(record, INTERVAL_KIND_YEAR, &record->year_or_day, count);
            return true;
        case TYPE_INTERVAL_MONTH:
            SetSingle(record, INTERVAL_KIND_MONTH, &record->month_or_hour, count);
            return true;
        case TYPE_INTERVAL_DAY:
            SetSingle(record, INTERVAL_KIND_DAY, &record->year_or_day, count);
            return true;
        case TYPE_INTERVAL_HOUR:
            SetSingle(record, INTERVAL_KIND_HOUR, &record->month_or_hour, count);
            return true;
        case TYPE_INTERVAL_MINUTE:
            SetSingle(record, INTERVAL_KIND_MINUTE, &record->minute, count);
            return true;
        case TYPE_INTERVAL_SECOND:
            SetSingle(record, INTERVAL_KIND_SECOND, &record->second, SecondsOf(value));
            return true;
        case TYPE_INTERVAL_YEAR_MONTH: SplitYearMonthTagged(count, record); return true;
        case TYPE_INTERVAL_DAY_HOUR: SplitDayHourTagged(count, record); return true;
        case TYPE_INTERVAL_DAY_MINUTE: SplitDayMinuteTagged(count, record); return true;
        case TYPE_INTERVAL_HOUR_MINUTE: SplitHourMinuteTagged(count, record); return true;
        case TYPE_INTERVAL_DAY_SECOND:
            SplitDaySecondTagged(LoadAs<int64_t>(value->bytes), record);
            return true;
        case TYPE_INTERVAL_HOUR_SECOND:
            SplitHourSecondTagged(LoadAs<int64_t>(value->bytes), record);
            return true;
        case TYPE_INTERVAL_MINUTE_SECOND:
            SplitMinuteSecondTagged(LoadAs<int64_t>(value->bytes), record);
            return true;
        default: return false;
    }
}

static bool FillIntervalYm(const ColumnValue *value, IntervalYmRec *record) {
    const int32_t count = LoadAs<int32_t>(value->bytes);
    switch (value->type) {
        case TYPE_INTERVAL_YEAR: record->year = count; return true;
        case TYPE_INTERVAL_MONTH: record->month = count; return true;
        case TYPE_INTERVAL_YEAR_MONTH: SplitYearMonth(count, record); return true;
        default: return false;
    }
}

static bool FillIntervalDs(const ColumnValue *value, IntervalDsRec *record) {
    const int32_t count = LoadAs<int32_t>(value->bytes);
    switch (value->type) {
        case TYPE_INTERVAL_DAY: record->day = count; return true;
        case TYPE_INTERVAL_HOUR: record->hour = count; return true;
        case TYPE_INTERVAL_MINUTE: record->minute = count; return true;
        case TYPE_INTERVAL_SECOND: record->second = SecondsOf(value); return true;
        case TYPE_INTERVAL_DAY_HOUR: SplitDayHour(count, record); return true;
        case TYPE_INTERVAL_DAY_MINUTE: SplitDayMinute(count, record); return true;
        case TYPE_INTERVAL_HOUR_MINUTE: SplitHourMinute(count, record); return true;
        case TYPE_INTERVAL_DAY_SECOND:
            SplitDaySecond(LoadAs<int64_t>(value->bytes), record);
            return true;
        case TYPE_INTERVAL_HOUR_SECOND:
            SplitHourSecond(LoadAs<int64_t>(value->bytes), record);
            return true;
        case TYPE_INTERVAL_MINUTE_SECOND:
            SplitMinuteSecond(LoadAs<int64_t>(value->bytes), record);
            return true;
        default: return false;
    }
}

// The members that no source sets have to keep what the application has there.
template <typename Record>
static bool FillInBuffer(const ColumnValue *value, void *buffer,
                         bool (*fill)(const ColumnValue *, Record *)) {
    if (value->type < TYPE_INTERVAL_YEAR || value->type > TYPE_INTERVAL_SECOND) return false;
    Record record;
    memcpy(&record, buffer, sizeof(record));
    if (!fill(value, &record)) return false;
    memcpy(buffer, &record, sizeof(record));
    return true;
}

bool ToInterval(const ColumnValue *value, void *buffer) {
    return FillInBuffer<IntervalRec>(value, buffer, FillInterval);
}

bool ToIntervalYm(const ColumnValue *value, void *buffer) {
    return FillInBuffer<IntervalYmRec>(value, buffer, FillIntervalYm);
}

bool ToIntervalDs(const ColumnValue *value, void *buffer) {
    return FillInBuffer<IntervalDsRec>(value, buffer, FillIntervalDs);
}
