// Column values as date and time records.
#include "values/calendar.h"

#include "values/datetime.h"
#include "values/zoned.h"

bool ToDate(const ColumnValue *value, void *buffer) {
    if (value->type != TYPE_DATE) return false;
    DateRec record;
    SplitDate(LoadAs<int32_t>(value->bytes), &record);
    Store(buffer, record);
    return true;
}

bool ToTime(const ColumnValue *value, void *buffer) {
    if (value->type != TYPE_TIME) return false;
    TimeRec record;
    SplitTime(LoadAs<int32_t>(value->bytes), &record);
    Store(buffer, record);
    return true;
}

bool ToTimeTz(const ColumnValue *value, void *buffer) {
    TimeTzRec record = {};
    if (value->type == TYPE_TIME) {
        TimeRec time;
        SplitTime(LoadAs<int32_t>(value->bytes), &time);
        record = {time.hour, time.minute, time.second, 0, 0};
    } else if (value->type == TYPE_TIME_TZ) {
        ReadTimeTz(value, &record);
    } else {
        return false;
    }
    Store(buffer, record);
    return true;
}

bool FillDateTime(const ColumnValue *value, DateTimeRec *record) {
    DateRec date;
    TimeRec time;
    switch (value->type) {
        case TYPE_DATE:
            SplitDate(LoadAs<int32_t>(value->bytes), &date);
            record->year = date.year;
            record->month = date.month;
            record->day = date.day;
            return true;
        case TYPE_TIME:
            SplitTime(LoadAs<int32_t>(value->bytes), &time);
            record->hour = time.hour;
            record->minute = time.minute;
            record->second = time.second;
            return true;
        case TYPE_DATETIME: SplitDateTimeMillis(LoadAs<int64_t>(value->bytes), record); return true;
        default: return false;
    }
}

bool ToDateTimeTz(const ColumnValue *value, void *buffer) {
    DateTimeTzRec record = {};
    DateTimeRec local = {};
    TimeTzRec time;
    if (value->type == TYPE_DATETIME_TZ) {
        ReadDateTimeTz(value, &record);
    } else if (value->type == TYPE_TIME_TZ) {
        ReadTimeTz(value, &time);
        record = {0, 0, 0, time.hour, time.minute, time.second, 0, time.tz_hour, time.tz_minute};
    } else if (FillDateTime(value, &local)) {
        record = {local.year,   local.month,    local.day, local.hour, local.minute,
                  local.second, local.fraction, 0,         0};
    } else {
        return false;
    }
    Store(buffer, record);
    return true;
}
