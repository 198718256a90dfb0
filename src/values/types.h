// The type catalogue: the wire codes of values, their names and widths, the codes they map to, and
// the layout of a stored row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

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
    TYPE_LESC = 49,
    TYPE_LINE = 50,
    TYPE_BOX = 51,
    TYPE_PATH = 52,
    TYPE_POLYGON = 53,
    TYPE_CIRCLE = 54,
    TYPE_GEOMETRY = 55,
    TYPE_GEOGRAPHY = 56,
    TYPE_BOX2D = 57,
    TYPE_BOX3D = 58,
    TYPE_SPHEROID = 59,
    TYPE_RASTER = 60
};

// What the client knows of a type, beside its code.
struct TypeEntry {
    const char *name;    // "" for a code that has none
    uint8_t slot_bytes;  // width of a row slot
    uint8_t c_type;      // the CType that a column reads as by default
    uint8_t sql_type;    // the SqlType under which a value is declared
};

constexpr int32_t TYPE_TABLE_ENTRIES = 61;
// By code; a code outside it reads as the unnamed ones within it.
extern const TypeEntry type_table[TYPE_TABLE_ENTRIES];
extern const TypeEntry type_unnamed;

inline const TypeEntry *TypeLookup(int32_t type_id) {
    return (uint32_t)type_id < (uint32_t)TYPE_TABLE_ENTRIES ? &type_table[type_id] : &type_unnamed;
}

// The constant name text; "" for an unnamed code.
const char *TypeName(int32_t type_id);
// The CType that a column reads as by default.
int32_t TypeDefaultCType(int32_t type_id);
// The SqlType under which a value of this type is declared.
int32_t TypeToSqlType(int32_t type_id);

// Width of a row slot.
inline int32_t TypeFixedSize(int32_t type_id) {
    return TypeLookup(type_id)->slot_bytes;
}

// A slot in external form: a length at its start, and a pointer to as many bytes and a NUL behind
// them. The rest of the slot is not used.
constexpr int32_t EXTERNAL_POINTER_OFFSET = 8;
constexpr int32_t EXTERNAL_SLOT_BYTES = 16;

// Makes a row of all NULLs; NULL when memory is short.
RowImage *RowCreate(RowArena *arena, int32_t row_size, int32_t column_count);

// The bits of a column in the status map: two for each column, the lower one for NULL, the higher
// one for external form. None of the operations on rows checks the column.
inline uint8_t *RowStatus(RowImage *row, int32_t column) {
    return row + ROW_HEADER_BYTES + column / 4;
}

inline uint8_t RowNullMask(int32_t column) {
    return (uint8_t)(1 << (2 * (column % 4)));
}

inline uint8_t RowExternalMask(int32_t column) {
    return (uint8_t)(2 << (2 * (column % 4)));
}

inline bool RowIsNull(const RowImage *row, int32_t column) {
    return (row[ROW_HEADER_BYTES + column / 4] & RowNullMask(column)) != 0;
}

inline void RowSetNull(RowImage *row, int32_t column) {
    *RowStatus(row, column) |= RowNullMask(column);
}

inline void RowClearNull(RowImage *row, int32_t column) {
    *RowStatus(row, column) &= (uint8_t)~RowNullMask(column);
}

inline bool RowIsExternal(const RowImage *row, int32_t column) {
    return (row[ROW_HEADER_BYTES + column / 4] & RowExternalMask(column)) != 0;
}

inline void RowSetExternal(RowImage *row, int32_t column) {
    *RowStatus(row, column) |= RowExternalMask(column);
}

inline void RowClearExternal(RowImage *row, int32_t column) {
    *RowStatus(row, column) &= (uint8_t)~RowExternalMask(column);
}

inline uint8_t *RowSlotAddress(RowImage *row, const FieldDesc *field) {
    return row + ROW_HEADER_BYTES + field->value_offset;
}

// Writes length and pointer of an external value into its slot; the status bits are not touched.
inline void RowStoreExternal(uint8_t *slot, void *bytes, int32_t length) {
    memcpy(slot, &length, sizeof(length));
    memcpy(slot + EXTERNAL_POINTER_OFFSET, &bytes, sizeof(bytes));
}

// The column's value, NULL for a NULL. `out_length` may be NULL.
inline uint8_t *RowGetValue(RowImage *row, const FieldDesc *fields, int32_t column,
                            int32_t *out_length) {
    if (RowIsNull(row, column)) return NULL;
    uint8_t *slot = RowSlotAddress(row, &fields[column]);
    if (!RowIsExternal(row, column)) {
        if (out_length != NULL) {
            *out_length = TypeFixedSize(fields[column].type);
        }
        return slot;
    }
    if (out_length != NULL) {
        memcpy(out_length, slot, sizeof(*out_length));
    }
    uint8_t *bytes;
    memcpy(&bytes, slot + EXTERNAL_POINTER_OFFSET, sizeof(bytes));
    return bytes;
}

// 0 for a NULL, the stored length for an external value, and for any other the width of the row's
// first column, whatever the column.
int32_t RowValueSize(RowImage *row, const FieldDesc *fields, int32_t column);

// Write the slot and clear the NULL bit.
void RowPutInt8(RowImage *row, const FieldDesc *fields, int32_t column, uint8_t value);
void RowPutInt16(RowImage *row, const FieldDesc *fields, int32_t column, uint16_t value);
void RowPutInt32(RowImage *row, const FieldDesc *fields, int32_t column, uint32_t value);
void RowPutInt64(RowImage *row, const FieldDesc *fields, int32_t column, uint64_t value);
void RowPutFloat(RowImage *row, const FieldDesc *fields, int32_t column, float value);
void RowPutDouble(RowImage *row, const FieldDesc *fields, int32_t column, double value);
// Store bytes that the row owns from now on, and free those that it held; for rows that the client
// builds itself only, since a row that was read points into its arena. Bytes for a column whose
// slot is too narrow to point to them are freed and the column stays as it was.
void RowPutBytes(RowImage *row, const FieldDesc *fields, int32_t column, void *bytes,
                 int32_t length);
// The same for a text, whose length counts its terminator.
void RowPutString(RowImage *row, const FieldDesc *fields, int32_t column, char *text);
