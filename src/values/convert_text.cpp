// Row values to texts that the result keeps: one text for each column, until the next is asked for.
#include <algorithm>

#include "platform/memory.h"
#include "values/column_value.h"
#include "values/decode.h"
#include "values/render.h"
#include "wire/connection.h"

// A block of the cache: its capacity, and the text behind that.
constexpr size_t CACHE_TEXT_OFFSET = sizeof(uint32_t);
// By how much the block of a column is larger than its text.
constexpr int32_t RAW_GROWTH = 128;
constexpr int32_t RENDERED_GROWTH = 64;

char *CacheColumnText(ResultSet *result, int32_t column, int32_t growth, const void *source,
                      int32_t length) {
    if (result->text_cache == NULL || length < 0) return NULL;
    const uint32_t needed = (uint32_t)length;
    uint8_t *block = (uint8_t *)result->text_cache[column];
    uint32_t capacity = block == NULL ? 0 : LoadAs<uint32_t>(block);
    if (block == NULL || capacity < needed) {
        size_t block_bytes;
        if (block == NULL) {
            capacity = std::max((uint32_t)growth, needed);
            block_bytes = (size_t)capacity + 9;
        } else {
            capacity = needed + (uint32_t)growth;
            block_bytes = (size_t)growth * 10 + needed + 8;
        }
        block = (uint8_t *)MemRealloc(block, block_bytes);
        if (block == NULL) return NULL;
        result->text_cache[column] = block;
        Store(block, capacity);
    }
    char *text = (char *)block + CACHE_TEXT_OFFSET;
    CopyBytes(text, source, length);
    text[length] = '\0';
    return text;
}

// The intervals that this conversion takes for values in the byte order of the wire.
static bool IsSwappedInterval(int32_t type) {
    return type >= TYPE_INTERVAL_YEAR && type <= TYPE_INTERVAL_SECOND &&
           type != TYPE_INTERVAL_YEAR_MONTH && type != TYPE_INTERVAL_DAY_SECOND;
}

static bool IsCachedRaw(int32_t type) {
    return IsRawText(type) && (type < TYPE_POINT || type > TYPE_RASTER);
}

static Converted Cached(char *text, int32_t length, char **out) {
    *out = text;
    return text == NULL ? NoConversion() : Done(length);
}

static Converted CacheValue(ResultSet *result, int32_t column, const ColumnValue *value,
                            char **out) {
    // Intervals lie in the row in the order of the host already: they read wrongly here, and the
    // next time rightly.
    if (SwapBytes() && IsSwappedInterval(value->type)) {
        std::reverse(value->bytes, value->bytes + value->length);
    }
    char rendered[RENDER_BYTES];
    const int32_t rendered_bytes = RenderValue(value, RENDER_FOR_TEXT, rendered);
    if (rendered_bytes > 0) {
        return Cached(CacheColumnText(result, column, RENDERED_GROWTH, rendered, rendered_bytes),
                      rendered_bytes, out);
    }
    if (!IsCachedRaw(value->type)) return Cached(NULL, 0, out);
    return Cached(CacheColumnText(result, column, RAW_GROWTH, value->bytes, value->length),
                  value->length, out);
}

int32_t ConvertColumnToText(ResultSet *result, int32_t c_type, int32_t column, char **out_pointer,
                            int32_t, int32_t *out_length) {
    ColumnValue value;
    Converted converted = {ColumnValueFind(result, column, &value), 0};
    if (converted.status == TVCI_VALUE_NO_CONVERSION) {
        *out_pointer = NULL;
    } else if (converted.status == TVCI_VALUE_DONE) {
        if (c_type != TVCI_C_CHAR) return TVCI_VALUE_NO_CONVERSION;
        converted = CacheValue(result, column, &value, out_pointer);
    }
    if (out_length != NULL) *out_length = converted.length;
    return converted.status;
}
