// Column values as numbers.
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
