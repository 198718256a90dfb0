// The rows of a bulk load on their way to the connection.
#include "bulk/row_buffer.h"

#include <cstring>

#include "platform/memory.h"
#include "wire/connection.h"

constexpr int64_t LENGTH_BYTES = 4;
constexpr int32_t COLUMNS_PER_BITMAP_BYTE = 4;
// The two bits of a column.
constexpr uint32_t NULL_BIT = 1;
constexpr uint32_t VALUE_BIT = 2;
// The longest piece that one write takes.
constexpr int64_t WRITE_BYTES_MAX = 0x40000000;

static int32_t BitmapBytes(int32_t column_count) {
    return (int32_t)(((int64_t)column_count + COLUMNS_PER_BITMAP_BYTE - 1) /
                     COLUMNS_PER_BITMAP_BYTE);
}

int64_t RowHeadBytes(int32_t column_count) {
    return LENGTH_BYTES + BitmapBytes(column_count);
}

bool RowBufferInit(RowBuffer *buffer, Connection *conn, int32_t column_count) {
    *buffer = {};
    buffer->conn = conn;
    buffer->bitmap_bytes = BitmapBytes(column_count);
    // A head always fits into an empty buffer.
    const int64_t head_bytes = RowHeadBytes(column_count);
    buffer->capacity = head_bytes > ROW_BUFFER_BYTES ? head_bytes : ROW_BUFFER_BYTES;
    buffer->bytes = (uint8_t *)MemAllocRaw((size_t)buffer->capacity);
    return buffer->bytes != NULL;
}

void RowBufferFree(RowBuffer *buffer) {
    MemFree(buffer->bytes);
    *buffer = {};
}

static void StoreLength(uint8_t *place, int32_t length) {
    const uint32_t wire = __builtin_bswap32((uint32_t)length);
    memcpy(place, &wire, sizeof(wire));
}

static void SetColumn(RowBuffer *buffer, int32_t column, uint32_t bit) {
    const int32_t byte = column / COLUMNS_PER_BITMAP_BYTE;
    const int32_t shift = column % COLUMNS_PER_BITMAP_BYTE * 2;
    buffer->bitmap[byte] = (uint8_t)(buffer->bitmap[byte] | bit << shift);
}

// Writes the complete rows out and moves the unfinished one to the front.
static void SendComplete(RowBuffer *buffer) {
    for (int64_t sent = 0; sent < buffer->start;) {
        const int64_t left = buffer->start - sent;
        const int64_t piece = left < WRITE_BYTES_MAX ? left : WRITE_BYTES_MAX;
        ConnWrite(buffer->conn, buffer->bytes + sent, (int32_t)piece);
        sent += piece;
    }
    buffer->used -= buffer->start;
    memmove(buffer->bytes, buffer->bytes + buffer->start, (size_t)buffer->used);
    buffer->start = 0;
    buffer->bitmap = buffer->bytes + LENGTH_BYTES;
}

void RowBufferSend(RowBuffer *buffer) {
    SendComplete(buffer);
    ConnFlush(buffer->conn);
}

void RowBufferBeginRow(RowBuffer *buffer) {
    const int64_t head_bytes = LENGTH_BYTES + buffer->bitmap_bytes;
    buffer->start = buffer->used;
    if (buffer->used + head_bytes > buffer->capacity) {
        RowBufferSend(buffer);
    }
    buffer->bitmap = buffer->bytes + buffer->start + LENGTH_BYTES;
    memset(buffer->bitmap, 0, (size_t)buffer->bitmap_bytes);
    buffer->used += head_bytes;
}

// A new buffer with room for a value of `length` bytes behind the unfinished row, which lies at the
// front of the old one.
static bool Grow(RowBuffer *buffer, int32_t length) {
    const int64_t capacity = buffer->capacity + length + ROW_BUFFER_SLACK_BYTES;
    uint8_t *grown = (uint8_t *)MemAllocRaw((size_t)capacity);
    if (grown == NULL) return false;
    memcpy(grown, buffer->bytes, (size_t)buffer->used);
    MemFree(buffer->bytes);
    buffer->bytes = grown;
    buffer->capacity = capacity;
    buffer->bitmap = grown + LENGTH_BYTES;
    return true;
}

// Makes room for a value with its length word.
static bool MakeRoom(RowBuffer *buffer, int32_t length) {
    const int64_t wanted = length + LENGTH_BYTES;
    if (buffer->start > 0) {
        SendComplete(buffer);
    }
    // A value that no buffer of this size could hold gets a larger one, whatever is free now.
    if (wanted <= buffer->capacity && wanted <= buffer->capacity - buffer->used) return true;
    return Grow(buffer, length);
}

// Copies a value of WIDTH to two times WIDTH bytes in two pieces of WIDTH, which may overlap.
template <size_t WIDTH>
static inline void CopyInTwo(uint8_t *target, const uint8_t *value, size_t bytes) {
    uint8_t first[WIDTH];
    uint8_t last[WIDTH];
    memcpy(first, value, WIDTH);
    memcpy(last, value + bytes - WIDTH, WIDTH);
    memcpy(target, first, WIDTH);
    memcpy(target + bytes - WIDTH, last, WIDTH);
}

// Copies a value. Values are short as a rule: two copies of a fixed width are quicker than a call.
static inline void CopyValue(uint8_t *target, const uint8_t *value, size_t bytes) {
    if (bytes > 32) {
        memcpy(target, value, bytes);
    } else if (bytes >= 16) {
        CopyInTwo<16>(target, value, bytes);
    } else if (bytes >= 8) {
        CopyInTwo<8>(target, value, bytes);
    } else if (bytes >= 4) {
        CopyInTwo<4>(target, value, bytes);
    } else {
        for (size_t i = 0; i < bytes; i++) {
            target[i] = value[i];
        }
    }
}

void RowBufferPutNull(RowBuffer *buffer, int32_t column) {
    SetColumn(buffer, column, NULL_BIT);
}

bool RowBufferPutValue(RowBuffer *buffer, int32_t column, const uint8_t *value, int32_t length) {
    if (length + LENGTH_BYTES > buffer->capacity - buffer->used && !MakeRoom(buffer, length)) {
        return false;
    }
    SetColumn(buffer, column, VALUE_BIT);
    uint8_t *place = buffer->bytes + buffer->used;
    StoreLength(place, length);
    CopyValue(place + LENGTH_BYTES, value, (size_t)length);
    buffer->used += LENGTH_BYTES + length;
    return true;
}

void RowBufferEndRow(RowBuffer *buffer) {
    const int64_t row_bytes = buffer->used - buffer->start - LENGTH_BYTES;
    StoreLength(buffer->bytes + buffer->start, (int32_t)row_bytes);
    buffer->start = buffer->used;
}

// Puts a whole row into the room that is left. False, with nothing done, when that is too small.
static bool PutRowInRoom(RowBuffer *buffer, const int32_t *lengths, int32_t column_count,
                         const uint8_t **value) {
    int64_t room = buffer->capacity - buffer->used - LENGTH_BYTES - buffer->bitmap_bytes;
    if (room < 0) return false;
    uint8_t *row = buffer->bytes + buffer->used;
    uint8_t *bitmap = row + LENGTH_BYTES;
    uint8_t *place = bitmap + buffer->bitmap_bytes;
    const uint8_t *from = *value;
    for (int32_t column = 0; column < column_count;) {
        const int32_t left = column_count - column;
        const int32_t end =
            column + (left < COLUMNS_PER_BITMAP_BYTE ? left : COLUMNS_PER_BITMAP_BYTE);
        uint32_t bits = 0;
        for (uint32_t shift = 0; column < end; column++, shift += 2) {
            const int32_t length = lengths[column];
            if (length == BULK_NULL) {
                bits |= NULL_BIT << shift;
                continue;
            }
            room -= LENGTH_BYTES + length;
            if (room < 0) return false;
            bits |= VALUE_BIT << shift;
            StoreLength(place, length);
            CopyValue(place + LENGTH_BYTES, from, (size_t)length);
            place += LENGTH_BYTES + length;
            from += length;
        }
        *bitmap++ = (uint8_t)bits;
    }
    StoreLength(row, (int32_t)(place - row - LENGTH_BYTES));
    buffer->used = place - buffer->bytes;
    buffer->start = buffer->used;
    *value = from;
    return true;
}

bool RowBufferPutRow(RowBuffer *buffer, const int32_t *lengths, int32_t column_count,
                     const uint8_t **value) {
    if (PutRowInRoom(buffer, lengths, column_count, value)) return true;
    RowBufferBeginRow(buffer);
    for (int32_t column = 0; column < column_count; column++) {
        const int32_t length = lengths[column];
        if (length == BULK_NULL) {
            RowBufferPutNull(buffer, column);
            continue;
        }
        if (!RowBufferPutValue(buffer, column, *value, length)) return false;
        *value += length;
    }
    RowBufferEndRow(buffer);
    return true;
}
