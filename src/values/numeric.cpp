// Column values as numbers.
#include "values/numeric.h"

#include <cstdlib>

// The texts of NUMERIC values carry a NUL, so the parsers of the C library stop in time.
static int64_t ParseInt64(const ColumnValue *value) {
    return strtoll((const char *)value->bytes, NULL, 10);
}

// A number of more than 32 bits is cut like any other wide value, on every system.
static int32_t ParseInt32(const ColumnValue *value) {
    return (int32_t)ParseInt64(value);
}

static double ParseDouble(const ColumnValue *value) {
    return strtod((const char *)value->bytes, NULL);
}

bool ToBool(const ColumnValue *value, void *buffer) {
    if (value->type != TYPE_BOOLEAN) return false;
    Store<uint8_t>(buffer, value->bytes[0] == 'T');
    return true;
}

bool ToTinyint(const ColumnValue *value, void *buffer) {
    switch (value->type) {
        case TYPE_BOOLEAN:
        case TYPE_TINYINT:
        case TYPE_SMALLINT:
        case TYPE_INTEGER:
        case TYPE_BIGINT: Store(buffer, LoadAs<int8_t>(value->bytes)); return true;
        default: return false;
    }
}

bool ToSmallint(const ColumnValue *value, void *buffer) {
    switch (value->type) {
        case TYPE_BOOLEAN:
        case TYPE_TINYINT: Store<int16_t>(buffer, LoadAs<int8_t>(value->bytes)); return true;
        case TYPE_SMALLINT:
        case TYPE_INTEGER:
        case TYPE_BIGINT: Store(buffer, LoadAs<int16_t>(value->bytes)); return true;
        case TYPE_NUMERIC: Store(buffer, (int16_t)ParseInt32(value)); return true;
        default: return false;
    }
}

bool ToInt(const ColumnValue *value, void *buffer) {
    switch (value->type) {
        case TYPE_BOOLEAN:
        case TYPE_TINYINT: Store<int32_t>(buffer, LoadAs<int8_t>(value->bytes)); return true;
        case TYPE_SMALLINT: Store<int32_t>(buffer, LoadAs<int16_t>(value->bytes)); return true;
        case TYPE_INTEGER:
        case TYPE_BIGINT: Store(buffer, LoadAs<int32_t>(value->bytes)); return true;
        case TYPE_NUMERIC: Store(buffer, ParseInt32(value)); return true;
        default: return false;
    }
}

// The integer types; false for any other.
static bool LoadInteger(const ColumnValue *value, int64_t *integer) {
    switch (value->type) {
        case TYPE_TINYINT: *integer = LoadAs<int8_t>(value->bytes); return true;
        case TYPE_SMALLINT: *integer = LoadAs<int16_t>(value->bytes); return true;
        case TYPE_INTEGER: *integer = LoadAs<int32_t>(value->bytes); return true;
        case TYPE_BIGINT: *integer = LoadAs<int64_t>(value->bytes); return true;
        default: return false;
    }
}

static bool ToBigintFrom(const ColumnValue *value, void *buffer,
                         int64_t (*parse)(const ColumnValue *)) {
    int64_t integer;
    if (value->type == TYPE_BOOLEAN) {
        integer = LoadAs<int8_t>(value->bytes);
    } else if (value->type == TYPE_NUMERIC) {
        integer = parse(value);
    } else if (!LoadInteger(value, &integer)) {
        return false;
    }
    Store(buffer, integer);
    return true;
}

static int64_t ParseInt32Widened(const ColumnValue *value) {
    return ParseInt32(value);
}

bool ToBigint(const ColumnValue *value, void *buffer) {
    return ToBigintFrom(value, buffer, ParseInt64);
}

bool ToBigintThroughInt(const ColumnValue *value, void *buffer) {
    return ToBigintFrom(value, buffer, ParseInt32Widened);
}

bool ToFloat(const ColumnValue *value, void *buffer) {
    int64_t integer;
    switch (value->type) {
        case TYPE_NUMERIC: Store(buffer, (float)ParseDouble(value)); return true;
        case TYPE_FLOAT: Store(buffer, LoadAs<float>(value->bytes)); return true;
        case TYPE_DOUBLE: Store(buffer, (float)LoadAs<double>(value->bytes)); return true;
        default:
            if (!LoadInteger(value, &integer)) return false;
            Store(buffer, (float)integer);
            return true;
    }
}

bool ToDouble(const ColumnValue *value, void *buffer) {
    int64_t integer;
    switch (value->type) {
        case TYPE_NUMERIC: Store(buffer, ParseDouble(value)); return true;
        case TYPE_FLOAT: Store<double>(buffer, LoadAs<float>(value->bytes)); return true;
        case TYPE_DOUBLE: Store(buffer, LoadAs<double>(value->bytes)); return true;
        default:
            if (!LoadInteger(value, &integer)) return false;
            Store(buffer, (double)integer);
            return true;
    }
}
