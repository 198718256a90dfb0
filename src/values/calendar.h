// Column values as date and time records.
#pragma once

#include "tavu/tvci.h"
#include "values/column_value.h"

// False, with the buffer untouched, when the type has no such form.
bool ToDate(const ColumnValue *value, void *buffer);
bool ToTime(const ColumnValue *value, void *buffer);
// TIME and TIME WITH TIME ZONE; the first has a zone of 0.
bool ToTimeTz(const ColumnValue *value, void *buffer);
// All types of date and time; what the type does not have is 0.
bool ToDateTimeTz(const ColumnValue *value, void *buffer);

// Sets the members that a DATE, TIME or DATETIME has and leaves the others.
bool FillDateTime(const ColumnValue *value, DateTimeRec *record);
