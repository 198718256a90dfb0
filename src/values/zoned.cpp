// Column values with a time zone.
#include "values/zoned.h"

#include <algorithm>
#include <cstdlib>

#include "values/datetime.h"
#include "wire/connection.h"

constexpr int32_t ZONE_BYTES = 2;
constexpr int32_t ZONED_BYTES_MAX = 10;

// Copies out a count of `count_bytes` bytes and the zone behind it, in host order, and leaves the
// value's own bytes that way. What a short value lacks counts as 0.
static void TakeZoned(const ColumnValue *value, int32_t count_bytes, uint8_t *zoned) {
    const int32_t own_bytes = std::clamp(value->length, 0, count_bytes + ZONE_BYTES);
    memset(zoned, 0, ZONED_BYTES_MAX);
    memcpy(zoned, value->bytes, (size_t)own_bytes);
    if (!SwapBytes()) return;
    std::reverse(zoned, zoned + count_bytes);
    std::reverse(zoned + count_bytes, zoned + count_bytes + ZONE_BYTES);
    memcpy(value->bytes, zoned, (size_t)own_bytes);
}

// The sign of the minutes survives only where the hours cannot carry it.
static void SplitZone(int32_t zone, int32_t *tz_hour, int32_t *tz_minute) {
    *tz_hour = zone / 60;
    *tz_minute = *tz_hour == 0 ? zone % 60 : abs(zone % 60);
}

void ReadTimeTz(const ColumnValue *value, TimeTzRec *record) {
    uint8_t zoned[ZONED_BYTES_MAX];
    TakeZoned(value, sizeof(int32_t), zoned);
    const int32_t zone = LoadAs<int16_t>(zoned + sizeof(int32_t));
    const int64_t milliseconds = LoadAs<int32_t>(zoned) + (int64_t)zone * 60000;
    const int32_t seconds = (int32_t)(milliseconds / 1000);
    record->hour = seconds / 3600;
    record->minute = seconds % 3600 / 60;
    record->second = seconds % 60;
    SplitZone(zone, &record->tz_hour, &record->tz_minute);
}

void ReadDateTimeTz(const ColumnValue *value, DateTimeTzRec *record) {
    uint8_t zoned[ZONED_BYTES_MAX];
    TakeZoned(value, sizeof(int64_t), zoned);
    const int32_t zone = LoadAs<int16_t>(zoned + sizeof(int64_t));
    // A count at the end of the range wraps.
    const uint64_t local = LoadAs<uint64_t>(zoned) + (uint64_t)(zone * INT64_C(60000000));
    DateTimeRec split;
    SplitDateTimeMillis((int64_t)local / 1000, &split);
    memcpy(record, &split, sizeof(split));
    SplitZone(zone, &record->tz_hour, &record->tz_minute);
}
