// Row values to a buffer that the application names with the column.
#include <cstdlib>

#include "values/calendar.h"
#include "values/column_value.h"
#include "values/decode.h"
#include "values/interval.h"
#include "values/lob_column.h"
#include "values/numeric.h"
#include "values/render.h"

// Where the decimal size begins in a descriptor.
constexpr int32_t DESCRIPTOR_SIZE_OFFSET = 14;
// Stands for a length that is not told: its variable stays as it was.
constexpr int32_t LENGTH_NOT_TOLD = INT32_MIN;

// A buffer of the application.
struct Target {
    void *buffer;
    int32_t size;  // bytes, not negative
};

// Text as it stands in the row may fill the buffer; a cut one reports its whole length.
static Converted CopyRaw(const Target *target, const ColumnValue *value) {
    const bool cut = target->size < value->length;
    CopyBytes(target->buffer, value->bytes, std::min(target->size, value->length));
    return cut ? Truncated(value->length) : Done(value->length);
}

static Converted ColumnText(const Target *target, const ColumnValue *value) {
    if (IsRawText(value->type)) {
        ZeroBytes(target->buffer, target->size);
        return CopyRaw(target, value);
    }
    char text[RENDER_BYTES];
    const int32_t text_bytes = RenderValue(value, RENDER_FOR_COLUMN, text);
    return text_bytes == 0 ? NoConversion()
                           : CopyTerminated(target->buffer, target->size, text, text_bytes);
}

static Converted ColumnNumeric(const Target *target, const ColumnValue *value) {
    if (value->type != TYPE_NUMERIC) return NoConversion();
    ZeroBytes(target->buffer, std::min(target->size, NUMERIC_TEXT_BYTES));
    return CopyRaw(target, value);
}

// A value that fills the buffer to the last byte counts as cut by 0 bytes.
static Converted ColumnBinary(const Target *target, const ColumnValue *value) {
    if (!IsRawBinary(value->type)) return NoConversion();
    ZeroBytes(target->buffer, target->size);
    if (value->length < target->size) {
        CopyBytes(target->buffer, value->bytes, value->length);
        return Done(value->length);
    }
    CopyBytes(target->buffer, value->bytes, target->size);
    return Truncated(value->length - target->size);
}

// A DATE or TIME leaves the members that it does not have as they were.
static bool ColumnDateTime(const ColumnValue *value, void *buffer) {
    DateTimeRec record = LoadAs<DateTimeRec>(buffer);
    if (!FillDateTime(value, &record)) return false;
    Store(buffer, record);
    return true;
}

// The size of a value on the server, which stands in its descriptor behind the identity and a
// separator.
static int32_t DescriptorSize(const ColumnValue *value) {
    if (value->length <= DESCRIPTOR_SIZE_OFFSET) return 0;
    return (int32_t)strtoll((const char *)value->bytes + DESCRIPTOR_SIZE_OFFSET, NULL, 10);
}

// What is told as the length of a large value. Of text it is told only where the bytes are all the
// value there is.
static int32_t LobLength(LobContent content, const ColumnValue *value) {
    switch (content) {
        case LOB_CONTENT_TAGGED:
            return value->type == TYPE_BLOB ? value->length - 1 : LENGTH_NOT_TOLD;
        case LOB_CONTENT_DESCRIPTOR:
            return value->type == TYPE_BLOB ? DescriptorSize(value) : LENGTH_NOT_TOLD;
        default: return value->length;
    }
}

// Whole and decoded values can be read once: the column is a NULL afterwards. What the row keeps,
// the record must not free.
static Converted ColumnLob(ResultSet *result, int32_t column, const Target *target,
                           const ColumnValue *value) {
    LobRecord lob = LoadAs<LobRecord>(target->buffer);
    const LobContent content = FillLob(result, value, &lob);
    if (content == LOB_CONTENT_NONE) return NoConversion();
    const bool row_keeps = content == LOB_CONTENT_TAGGED || content == LOB_CONTENT_DESCRIPTOR;
    if (!row_keeps) {
        RowSetNull(result->current_row, column);
    }
    if (result->arena != NULL || row_keeps) {
        lob.borrowed = 1;
    } else if (content == LOB_CONTENT_WHOLE) {
        RowClearExternal(result->current_row, column);
    }
    Store(target->buffer, lob);
    return Done(LobLength(content, value));
}

static Converted ConvertForColumn(ResultSet *result, int32_t c_type, int32_t column,
                                  const Target *target, const ColumnValue *value) {
    void *buffer = target->buffer;
    switch (c_type) {
        case TVCI_C_BOOL: return DoneIf(ToBool(value, buffer), sizeof(uint8_t));
        // The zoned forms do not exist here: their codes ask for text.
        case TVCI_C_TIME_TZ:
        case TVCI_C_DATETIME_TZ:
        case TVCI_C_CHAR: return ColumnText(target, value);
        case TVCI_C_TINYINT: return DoneIf(ToTinyint(value, buffer), sizeof(int8_t));
        case TVCI_C_SMALLINT: return DoneIf(ToSmallint(value, buffer), sizeof(int16_t));
        case TVCI_C_INT: return DoneIf(ToInt(value, buffer), sizeof(int32_t));
        case TVCI_C_BIGINT: return DoneIf(ToBigintThroughInt(value, buffer), sizeof(int64_t));
        case TVCI_C_FLOAT: return DoneIf(ToFloat(value, buffer), sizeof(float));
        case TVCI_C_DOUBLE: return DoneIf(ToDouble(value, buffer), sizeof(double));
        case TVCI_C_NUMERIC: return ColumnNumeric(target, value);
        case TVCI_C_DATE: return DoneIf(ToDate(value, buffer), sizeof(DateRec));
        case TVCI_C_TIME: return DoneIf(ToTime(value, buffer), sizeof(TimeRec));
        case TVCI_C_DATETIME: return DoneIf(ColumnDateTime(value, buffer), sizeof(DateTimeRec));
        case TVCI_C_BINARY: return ColumnBinary(target, value);
        case TVCI_C_INTERVAL: return DoneIf(ToInterval(value, buffer), sizeof(IntervalRec));
        case TVCI_C_INTERVAL_YM: return DoneIf(ToIntervalYm(value, buffer), sizeof(IntervalYmRec));
        case TVCI_C_INTERVAL_DS: return DoneIf(ToIntervalDs(value, buffer), sizeof(IntervalDsRec));
        case TVCI_C_LOB: return ColumnLob(result, column, target, value);
        default: return NoConversion();
    }
}

int32_t ConvertColumn(ResultSet *result, int32_t c_type, int32_t column, void *buffer,
                      int32_t buffer_size, int32_t *out_length) {
    ColumnValue value;
    Converted converted = {ColumnValueFind(result, column, &value), 0};
    if (converted.status == TVCI_VALUE_DONE) {
        const Target target = {buffer, std::max(buffer_size, 0)};
        converted = ConvertForColumn(result, c_type, column, &target, &value);
    }
    if (out_length != NULL && converted.length != LENGTH_NOT_TOLD) {
        *out_length = converted.length;
    }
    return converted.status;
}
