// Column values with a time zone.
//
// They lie in the row as they came off the wire. A read turns their bytes to host order in the row
// itself, so that the next read of the same value turns them back and finds other numbers: one read
// for each fetch of a row is what the rows are built for.
#pragma once

#include "tavu/tvci.h"
#include "values/column_value.h"

// Reads a TIME WITH TIME ZONE as local time with its zone.
void ReadTimeTz(const ColumnValue *value, TimeTzRec *record);
// Reads a DATETIME WITH TIME ZONE as local time with its zone; `fraction` is in milliseconds.
void ReadDateTimeTz(const ColumnValue *value, DateTimeTzRec *record);
