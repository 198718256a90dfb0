// Column values as numbers, and real numbers as integers.
#pragma once

#include "values/column_value.h"

// Each returns false, with the buffer as it was, when the type has no such form. A value that is
// too wide is cut, and nothing tells of it.
bool ToBool(const ColumnValue *value, void *buffer);
bool ToTinyint(const ColumnValue *value, void *buffer);
bool ToSmallint(const ColumnValue *value, void *buffer);
bool ToInt(const ColumnValue *value, void *buffer);
bool ToFloat(const ColumnValue *value, void *buffer);
bool ToDouble(const ColumnValue *value, void *buffer);
// NUMERIC is parsed to 64 bits.
bool ToBigint(const ColumnValue *value, void *buffer);
// NUMERIC is parsed to 32 bits, then widened with its sign.
bool ToBigintThroughInt(const ColumnValue *value, void *buffer);

// What a conversion instruction of the processor gives for a number that does not fit, and for one
// that is none: the lowest integer.
inline int32_t CutToInt32(double real) {
    return real > -2147483649.0 && real < 2147483648.0 ? (int32_t)real : INT32_MIN;
}

inline int64_t CutToInt64(double real) {
    return real >= -9223372036854775808.0 && real < 9223372036854775808.0 ? (int64_t)real
                                                                          : INT64_MIN;
}
