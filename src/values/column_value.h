// One stored column value on its way to the application, and the steps that both column conversions
// share: finding it, reading it, and copying bytes into a bounded buffer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "records/result.h"
#include "tavu/tvci.h"
#include "values/types.h"

// What a TVCI_C_NUMERIC buffer holds at most; as much of it is cleared before the text is copied.
constexpr int32_t NUMERIC_TEXT_BYTES = 64;

struct ColumnValue {
    uint8_t *bytes;  // borrowed from the row; not aligned
    int32_t length;
    int32_t type;  // TypeId
};

// What a conversion says of itself: the status, and the length that goes with it.
struct Converted {
    int32_t status;  // TVCI_VALUE_...
    int32_t length;
};

inline Converted Done(int32_t length) {
    return {TVCI_VALUE_DONE, length};
}

inline Converted Truncated(int32_t length) {
    return {TVCI_VALUE_TRUNCATED, length};
}

inline Converted NoConversion(void) {
    return {TVCI_VALUE_NO_CONVERSION, 0};
}

// A conversion to a record or number of fixed width.
inline Converted DoneIf(bool converted, int32_t length) {
    return converted ? Done(length) : NoConversion();
}

// Finds the value of a column of the current row. Returns 0, or the status that answers the whole
// conversion: the value is NULL, or there is no such column.
inline int32_t ColumnValueFind(const ResultSet *result, int32_t column, ColumnValue *value) {
    if (result->current_row == NULL) return TVCI_VALUE_NULL;
    if ((uint32_t)column >= (uint32_t)result->field_count) return TVCI_VALUE_NO_CONVERSION;
    value->bytes = RowGetValue(result->current_row, result->fields, column, &value->length);
    if (value->bytes == NULL) return TVCI_VALUE_NULL;
    value->type = result->fields[column].type;
    return TVCI_VALUE_DONE;
}

// A value of fixed width in host order. A wider one is cut to its low bits.
template <typename T>
inline T LoadAs(const void *bytes) {
    T value;
    memcpy(&value, bytes, sizeof(value));
    return value;
}

template <typename T>
inline void Store(void *buffer, T value) {
    memcpy(buffer, &value, sizeof(value));
}

// The types whose bytes are text or raw data and are handed over as they are.
inline bool IsRawText(int32_t type) {
    return type == TYPE_CHAR || type == TYPE_CLOB || type == TYPE_BINARY || type == TYPE_BLOB ||
           type == TYPE_ROWID || (type >= TYPE_POINT && type <= TYPE_RASTER);
}

inline bool IsRawBinary(int32_t type) {
    return type != TYPE_ROWID && IsRawText(type);
}

// Copies `length` bytes, none if that is negative.
inline void CopyBytes(void *buffer, const void *bytes, int32_t length) {
    if (length > 0) memcpy(buffer, bytes, (size_t)length);
}

inline void ZeroBytes(void *buffer, int32_t length) {
    if (length > 0) memset(buffer, 0, (size_t)length);
}

// A text that always gets its terminator; of a cut one, what did not fit is reported.
inline Converted CopyTerminated(void *buffer, int32_t size, const void *text, int32_t text_bytes) {
    ZeroBytes(buffer, size);
    if (text_bytes < size) {
        CopyBytes(buffer, text, text_bytes);
        return Done(text_bytes);
    }
    CopyBytes(buffer, text, size - 1);
    return Truncated(text_bytes - size + 1);
}
