// Column values as interval records.
#pragma once

#include "values/column_value.h"

// Each sets the members that the type has and leaves the others of the buffer as they were. False,
// with the buffer untouched, when the type has no such form.
bool ToInterval(const ColumnValue *value, void *buffer);
bool ToIntervalYm(const ColumnValue *value, void *buffer);
bool ToIntervalDs(const ColumnValue *value, void *buffer);
