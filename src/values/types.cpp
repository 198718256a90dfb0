// The type catalogue and the row image.
#include "values/types.h"

#include "platform/memory.h"
#include "values/arena.h"

constexpr uintptr_t CACHE_LINE_BYTES = 64;
constexpr uintptr_t PREFETCH_AHEAD_BYTES = 8 * CACHE_LINE_BYTES;

// In each line: name, slot bytes, CType, SqlType, and the code behind it.
const TypeEntry type_table[TYPE_TABLE_ENTRIES] = {
    {"EMPTY",                     16, 2,  12}, // 0
    {"NULL",                      16, 2,  12}, // 1
    {"BOOLEAN",                   1,  1,  1 }, // 2
    {"TINYINT",                   1,  3,  2 }, // 3
    {"SMALLINT",                  2,  4,  3 }, // 4
    {"INTEGER",                   4,  5,  4 }, // 5
    {"BIGINT",                    8,  6,  5 }, // 6
    {"NUMERIC",                   40, 9,  8 }, // 7
    {"FLOAT",                     4,  7,  6 }, // 8
    {"DOUBLE",                    8,  8,  7 }, // 9
    {"DATE",                      4,  10, 9 }, // 10
    {"TIME",                      4,  11, 10}, // 11
    {"TIME WITH TIME ZONE",       16, 12, 18}, // 12
    {"DATETIME",                  8,  13, 11}, // 13
    {"DATETIME WITH TIME ZONE",   16, 14, 17}, // 14
    {"INTERVAL YEAR",             4,  21, 20}, // 15
    {"INTERVAL YEAR TO MONTH",    4,  28, 26}, // 16
    {"INTERVAL MONTH",            4,  21, 21}, // 17
    {"INTERVAL DAY",              4,  21, 22}, // 18
    {"INTERVAL DAY TO HOUR",      4,  21, 28}, // 19
    {"INTERVAL HOUR",             4,  21, 23}, // 20
    {"INTERVAL DAY TO MINUTE",    4,  21, 29}, // 21
    {"INTERVAL HOUR TO MINUTE",   4,  21, 30}, // 22
    {"INTERVAL MINUTE",           4,  21, 24}, // 23
    {"INTERVAL DAY TO SECOND",    8,  31, 27}, // 24
    {"INTERVAL HOUR TO SECOND",   8,  21, 31}, // 25
    {"INTERVAL MINUTE TO SECOND", 8,  21, 32}, // 26
    {"INTERVAL SECOND",           8,  21, 25}, // 27
    {"ROWVERSION",                16, 2,  12}, // 28
    {"GUID",                      16, 2,  12}, // 29
    {"CHAR",                      16, 2,  12}, // 30
    {"",                          16, 2,  12}, // 31
    {"CLOB",                      16, 40, 14}, // 32
    {"BINARY",                    16, 15, 13}, // 33
    {"BLOB",                      16, 40, 16}, // 34
    {"",                          16, 2,  12}, // 35
    {"",                          16, 2,  12}, // 36
    {"",                          16, 2,  12}, // 37
    {"",                          16, 2,  12}, // 38
    {"",                          16, 2,  12}, // 39
    {"",                          16, 2,  12}, // 40
    {"",                          16, 2,  12}, // 41
    {"",                          16, 2,  12}, // 42
    {"",                          16, 2,  12}, // 43
    {"STREM",                     16, 2,  12}, // 44
    {"ROWID",                     16, 2,  12}, // 45
    {"",                          16, 2,  12}, // 46
    {"",                          16, 2,  12}, // 47
    {"POINT",                     16, 40, 33}, // 48
    {"LESC",                      16, 40, 34}, // 49
    {"LINE",                      16, 40, 35}, // 50
    {"BOX",                       16, 40, 36}, // 51
    {"PATH",                      16, 40, 37}, // 52
    {"POLYGON",                   16, 40, 38}, // 53
    {"CIRCLE",                    16, 40, 39}, // 54
    {"GEOMETRY",                  16, 40, 40}, // 55
    {"GEOGRAPHY",                 16, 40, 41}, // 56
    {"BOX2D",                     16, 40, 42}, // 57
    {"BOX3D",                     16, 40, 43}, // 58
    {"SPHEROID",                  16, 2,  44}, // 59
    {"RASTER",                    16, 2,  45}, // 60
};

const TypeEntry type_unnamed = {"", 16, 2, 12};

const char *TypeName(int32_t type_id) {
    return TypeLookup(type_id)->name;
}

int32_t TypeDefaultCType(int32_t type_id) {
    return TypeLookup(type_id)->c_type;
}

int32_t TypeToSqlType(int32_t type_id) {
    return TypeLookup(type_id)->sql_type;
}

RowImage *RowCreate(RowArena *arena, int32_t row_size, int32_t column_count) {
    RowImage *row = (RowImage *)ArenaAlloc(arena, row_size);
    if (row == NULL) return NULL;
    // Rows are written one behind the other: by the time the next ones are made, their memory has
    // come into the cache.
    const uintptr_t ahead = (uintptr_t)row + PREFETCH_AHEAD_BYTES;
    __builtin_prefetch((const void *)ahead, 1);
    __builtin_prefetch((const void *)(ahead + CACHE_LINE_BYTES), 1);
    memset(row, 0, (size_t)row_size + 1);
    uint8_t *status = row + ROW_HEADER_BYTES;
    int32_t column = 0;
    for (; column + 4 <= column_count; column += 4) {
        *status++ = 0x55;
    }
    if (column < column_count) {
        *status = (uint8_t)(0x55 & ((1 << (2 * (column_count - column))) - 1));
    }
    return row;
}

int32_t RowValueSize(RowImage *row, const FieldDesc *fields, int32_t column) {
    if (RowIsNull(row, column)) return 0;
    if (!RowIsExternal(row, column)) return TypeFixedSize(fields[0].type);
    int32_t length;
    memcpy(&length, RowSlotAddress(row, &fields[column]), sizeof(length));
    return length;
}

static void PutFixed(RowImage *row, const FieldDesc *fields, int32_t column, const void *value,
                     size_t bytes) {
    memcpy(RowSlotAddress(row, &fields[column]), value, bytes);
    RowClearNull(row, column);
}

void RowPutInt8(RowImage *row, const FieldDesc *fields, int32_t column, uint8_t value) {
    PutFixed(row, fields, column, &value, sizeof(value));
}

void RowPutInt16(RowImage *row, const FieldDesc *fields, int32_t column, uint16_t value) {
    PutFixed(row, fields, column, &value, sizeof(value));
}

void RowPutInt32(RowImage *row, const FieldDesc *fields, int32_t column, uint32_t value) {
    PutFixed(row, fields, column, &value, sizeof(value));
}

void RowPutInt64(RowImage *row, const FieldDesc *fields, int32_t column, uint64_t value) {
    PutFixed(row, fields, column, &value, sizeof(value));
}

void RowPutFloat(RowImage *row, const FieldDesc *fields, int32_t column, float value) {
    PutFixed(row, fields, column, &value, sizeof(value));
}

void RowPutDouble(RowImage *row, const FieldDesc *fields, int32_t column, double value) {
    PutFixed(row, fields, column, &value, sizeof(value));
}

void RowPutBytes(RowImage *row, const FieldDesc *fields, int32_t column, void *bytes,
                 int32_t length) {
    if (TypeFixedSize(fields[column].type) < EXTERNAL_SLOT_BYTES) {
        MemFree(bytes);
        return;
    }
    if (RowIsExternal(row, column)) {
        RowClearNull(row, column);
        MemFree(RowGetValue(row, fields, column, NULL));
    }
    RowStoreExternal(RowSlotAddress(row, &fields[column]), bytes, length);
    RowClearNull(row, column);
    RowSetExternal(row, column);
}

void RowPutString(RowImage *row, const FieldDesc *fields, int32_t column, char *text) {
    RowPutBytes(row, fields, column, text, (int32_t)(strlen(text) + 1));
}
