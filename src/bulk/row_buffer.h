// The rows of a bulk load on their way to the connection: gathered in one large buffer, which goes
// out in whole rows.
#pragma once

#include <cstdint>

#include "records/connection.h"

constexpr int64_t ROW_BUFFER_BYTES = 8388608;
// What a buffer grows by on top of the value that did not fit.
constexpr int64_t ROW_BUFFER_SLACK_BYTES = 1024;

// Made by RowBufferInit, freed by RowBufferFree. 0 <= start <= used <= capacity.
struct RowBuffer {
    Connection *conn;  // borrowed
    uint8_t *bytes;    // owned
    int64_t capacity;
    int64_t used;          // bytes written
    int64_t start;         // where the unfinished row begins; complete rows lie before it
    int32_t bitmap_bytes;  // of the null bitmap of every row
    uint8_t *bitmap;       // of the unfinished row; in `bytes`
};

// The length of a value that is NULL.
constexpr int32_t BULK_NULL = -1;

// The bytes of a row ahead of its values: its length word and the null bitmap.
int64_t RowHeadBytes(int32_t column_count);

// False when there is no memory.
bool RowBufferInit(RowBuffer *buffer, Connection *conn, int32_t column_count);
void RowBufferFree(RowBuffer *buffer);

// Opens a row with no column set.
void RowBufferBeginRow(RowBuffer *buffer);

// Sets the next column, by its index. A value has `length` bytes, 0 or more. False when there is no
// memory for it; the row is not to be finished then.
void RowBufferPutNull(RowBuffer *buffer, int32_t column);
bool RowBufferPutValue(RowBuffer *buffer, int32_t column, const uint8_t *value, int32_t length);

// Closes the row: fills in its length.
void RowBufferEndRow(RowBuffer *buffer);

// Does all of that for one row, whose values begin at `*value`, and moves `*value` on to those of
// the next. False when there is no memory.
bool RowBufferPutRow(RowBuffer *buffer, const int32_t *lengths, int32_t column_count,
                     const uint8_t **value);

// Sends all rows that are closed. An unfinished one stays.
void RowBufferSend(RowBuffer *buffer);
