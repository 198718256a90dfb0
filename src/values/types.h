// The type catalogue: the wire codes of values, their names and widths, the codes they map to, and
// the layout of a stored row.
#pragma once

#include <cstdint>

#include "records/result.h"

// Wire codes of values.
enum TypeId {
    TYPE_EMPTY = 0,
    TYPE_NULL = 1,
    TYPE_BOOLEAN = 2,
    TYPE_TINYINT = 3,
    TYPE_SMALLINT = 4,
    TYPE_INTEGER = 5,
    TYPE_BIGINT = 6,
    TYPE_NUMERIC = 7,
    TYPE_FLOAT = 8,
    TYPE_DOUBLE = 9,
    TYPE_DATE = 10,
    TYPE_TIME = 11,
    TYPE_TIME_TZ = 12,
    TYPE_DATETIME = 13,
    TYPE_DATETIME_TZ = 14,
    TYPE_INTERVAL_YEAR = 15,
    TYPE_INTERVAL_YEAR_MONTH = 16,
    TYPE_INTERVAL_MONTH = 17,
    TYPE_INTERVAL_DAY = 18,
    TYPE_INTERVAL_DAY_HOUR = 19,
    TYPE_INTERVAL_HOUR = 20,
    TYPE_INTERVAL_DAY_MINUTE = 21,
    TYPE_INTERVAL_HOUR_MINUTE = 22,
    TYPE_INTERVAL_MINUTE = 23,
    TYPE_INTERVAL_DAY_SECOND = 24,
    TYPE_INTERVAL_HOUR_SECOND = 25,
    TYPE_INTERVAL_MINUTE_SECOND = 26,
    TYPE_INTERVAL_SECOND = 27,
    TYPE_ROWVERSION = 28,
    TYPE_GUID = 29,
    TYPE_CHAR = 30,
    TYPE_CLOB = 32,
    TYPE_BINARY = 33,
    TYPE_BLOB = 34,
    TYPE_STREAM = 44,
    TYPE_ROWID = 45,
    TYPE_POINT = 48,
    TYPE_RASTER = 60
};

// The constant name text; "" for an unnamed code.
const char *TypeName(int32_t type_id);
// Width of a row slot.
int32_t TypeFixedSize(int32_t type_id);
// The CType that a column reads as by default.
int32_t TypeDefaultCType(int32_t type_id);
// The SqlType under which a value of this type is declared.
int32_t TypeToSqlType(int32_t type_id);

// Makes a row of all NULLs; NULL when memory is short.
RowImage *RowCreate(RowArena *arena, int32_t row_size, int32_t column_count);

bool RowIsNull(const RowImage *row, int32_t column);
void RowSetNull(RowImage *row, int32_t column);
void RowClearNull(RowImage *row, int32_t column);
bool RowIsExternal(const RowImage *row, int32_t column);
void RowSetExternal(RowImage *row, int32_t column);
void RowClearExternal(RowImage *row, int32_t column);

// The column's value, NULL for a NULL. `out_length` may be NULL.
uint8_t *RowGetValue(RowImage *row, const FieldDesc *fields, int32_t column, int32_t *out_length);
int32_t RowValueSize(RowImage *row, const FieldDesc *fields, int32_t column);

void RowPutInt8(RowImage *row, const FieldDesc *fields, int32_t column, uint8_t value);
void RowPutInt16(RowImage *row, const FieldDesc *fields, int32_t column, uint16_t value);
void RowPutInt32(RowImage *row, const FieldDesc *fields, int32_t column, uint32_t value);
void RowPutInt64(RowImage *row, const FieldDesc *fields, int32_t column, uint64_t value);
void RowPutFloat(RowImage *row, const FieldDesc *fields, int32_t column, float value);
void RowPutDouble(RowImage *row, const FieldDesc *fields, int32_t column, double value);
// Store bytes that the row owns from now on; for rows that the client builds itself only.
void RowPutBytes(RowImage *row, const FieldDesc *fields, int32_t column, void *bytes,
                 int32_t length);
void RowPutString(RowImage *row, const FieldDesc *fields, int32_t column, char *text);
