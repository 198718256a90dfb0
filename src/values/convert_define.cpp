// Row values to the buffers of defined columns: runs for every defined column of every fetched row.
#include "values/calendar.h"
#include "values/column_value.h"
#include "values/datetime.h"
#include "values/decode.h"
#include "values/interval.h"
#include "values/lob_column.h"
#include "values/numeric.h"
#include "values/render.h"

static int32_t BufferSize(const DefineRecord *define) {
    return std::max(define->buffer_size, 0);
}

// Of a cut value, the bytes that did not fit are reported.
static inline Converted CopyValue(const DefineRecord *define, const void *bytes, int32_t length) {
    const int32_t size = BufferSize(define);
    if (size < length) {
        CopyBytes(define->buffer, bytes, size);
        return Truncated(length - size);
    }
    CopyBytes(define->buffer, bytes, length);
    return Done(length);
}

// Whether a large value begins with the letter that tells content from a descriptor.
static bool HasLobTag(const ResultSet *result, const ColumnValue *value) {
    if (!HasDescriptors(result) || value->length < 1) return false;
    return value->bytes[0] == LOB_TAG_CLOB || value->bytes[0] == LOB_TAG_BLOB;
}

// A large value as text, without its tag. One byte of the buffer is always left free.
static Converted CopyLobText(const ResultSet *result, const DefineRecord *define,
                             const ColumnValue *value) {
    const int32_t size = BufferSize(define);
    const int32_t tag_bytes = HasLobTag(result, value) ? 1 : 0;
    if (value->length < size) {
        CopyBytes(define->buffer, value->bytes + tag_bytes, value->length - tag_bytes);
        return Done(value->length - tag_bytes);
    }
    CopyBytes(define->buffer, value->bytes + tag_bytes, size - 1);
    return Truncated(value->length - size + 1 - tag_bytes);
}

static Converted DefineText(const ResultSet *result, const DefineRecord *define,
                            const ColumnValue *value) {
    if (value->type == TYPE_CLOB || value->type == TYPE_BLOB) {
        return CopyLobText(result, define, value);
    }
    if (IsRawText(value->type)) return CopyValue(define, value->bytes, value->length);
    char text[RENDER_BYTES];
    const int32_t text_bytes = RenderValue(value, RENDER_FOR_DEFINE, text);
    if (text_bytes == 0) return NoConversion();
    ZeroBytes(define->buffer, define->buffer_size);
    return CopyValue(define, text, text_bytes);
}

static Converted DefineNumeric(const DefineRecord *define, const ColumnValue *value) {
    if (value->type != TYPE_NUMERIC) return NoConversion();
    ZeroBytes(define->buffer, std::min(define->buffer_size, NUMERIC_TEXT_BYTES));
    return CopyValue(define, value->bytes, value->length);
}

// A DATETIME is split into the buffer itself where that lies well: to read a record at one stroke
// right after its members were written one by one takes longer than the splitting.
static bool DefineDateTime(const ColumnValue *value, void *buffer) {
    if (value->type == TYPE_DATETIME && (uintptr_t)buffer % alignof(DateTimeRec) == 0) {
        SplitDateTimeMillis(LoadAs<int64_t>(value->bytes), (DateTimeRec *)buffer);
        return true;
    }
    DateTimeRec record = {};
    if (!FillDateTime(value, &record)) return false;
    if (value->type != TYPE_DATETIME) {
        // What a DATE or TIME does not have is cleared, but for the fraction.
        record.fraction = LoadAs<DateTimeRec>(buffer).fraction;
    }
    Store(buffer, record);
    return true;
}

static bool DefineIntervalYm(const ColumnValue *value, void *buffer) {
    if (!ToIntervalYm(value, buffer)) return false;
    if (value->type == TYPE_INTERVAL_YEAR) {
        Store(buffer, IntervalYmRec{LoadAs<IntervalYmRec>(buffer).year, 0});
    }
    return true;
}

// Gives the stored bytes to the record. The column reads as NULL from now on, and the row frees
// nothing of it; a tag moves out, so that the content lies where the block begins.
static void HandOver(ResultSet *result, int32_t column, LobContent content,
                     const ColumnValue *value, LobRecord *lob) {
    if (content == LOB_CONTENT_TAGGED) {
        memmove(value->bytes, value->bytes + 1, (size_t)value->length);
        lob->data = value->bytes;
    }
    RowSetNull(result->current_row, column);
    if (content != LOB_CONTENT_HEX) {
        RowClearExternal(result->current_row, column);
    }
}

// Bytes in an arena are lent; the bytes of a row without one become the record's own.
static Converted DefineLob(ResultSet *result, const DefineRecord *define,
                           const ColumnValue *value) {
    LobRecord lob = LoadAs<LobRecord>(define->buffer);
    const LobContent content = FillLob(result, value, &lob);
    if (content == LOB_CONTENT_NONE) return NoConversion();
    lob.borrowed = result->arena != NULL;
    if (!lob.borrowed) {
        HandOver(result, define->column, content, value, &lob);
    }
    Store(define->buffer, lob);
    return Done(sizeof(LobRecord));
}

// A NULL has no bytes; what else the record holds stays there.
static void ClearLobLength(const DefineRecord *define) {
    LobRecord lob = LoadAs<LobRecord>(define->buffer);
    lob.length = 0;
    Store(define->buffer, lob);
}

// The usual pairs, a column read in its own form, are answered here; the rest by calls.
static inline Converted ConvertForDefine(ResultSet *result, const DefineRecord *define,
                                         const ColumnValue *value) {
    void *buffer = define->buffer;
    switch (define->c_type) {
        case TVCI_C_BOOL: return DoneIf(ToBool(value, buffer), sizeof(uint8_t));
        case TVCI_C_CHAR:
            if (value->type == TYPE_CHAR) return CopyValue(define, value->bytes, value->length);
            return DefineText(result, define, value);
        case TVCI_C_TINYINT: return DoneIf(ToTinyint(value, buffer), sizeof(int8_t));
        case TVCI_C_SMALLINT: return DoneIf(ToSmallint(value, buffer), sizeof(int16_t));
        case TVCI_C_INT:
            if (value->type == TYPE_INTEGER) {
                Store(buffer, LoadAs<int32_t>(value->bytes));
                return Done(sizeof(int32_t));
            }
            return DoneIf(ToInt(value, buffer), sizeof(int32_t));
        case TVCI_C_BIGINT:
            if (value->type == TYPE_BIGINT) {
                Store(buffer, LoadAs<int64_t>(value->bytes));
                return Done(sizeof(int64_t));
            }
            return DoneIf(ToBigint(value, buffer), sizeof(int64_t));
        case TVCI_C_FLOAT: return DoneIf(ToFloat(value, buffer), sizeof(float));
        case TVCI_C_DOUBLE:
            if (value->type == TYPE_DOUBLE) {
                Store(buffer, LoadAs<double>(value->bytes));
                return Done(sizeof(double));
            }
            return DoneIf(ToDouble(value, buffer), sizeof(double));
        case TVCI_C_NUMERIC: return DefineNumeric(define, value);
        case TVCI_C_DATE: return DoneIf(ToDate(value, buffer), sizeof(DateRec));
        case TVCI_C_TIME: return DoneIf(ToTime(value, buffer), sizeof(TimeRec));
        case TVCI_C_TIME_TZ: return DoneIf(ToTimeTz(value, buffer), sizeof(TimeTzRec));
        case TVCI_C_DATETIME: return DoneIf(DefineDateTime(value, buffer), sizeof(DateTimeRec));
        case TVCI_C_DATETIME_TZ: return DoneIf(ToDateTimeTz(value, buffer), sizeof(DateTimeTzRec));
        case TVCI_C_BINARY:
            if (!IsRawBinary(value->type)) return NoConversion();
            return CopyValue(define, value->bytes, value->length);
        case TVCI_C_INTERVAL: return DoneIf(ToInterval(value, buffer), sizeof(IntervalRec));
        case TVCI_C_INTERVAL_YM:
            return DoneIf(DefineIntervalYm(value, buffer), sizeof(IntervalYmRec));
        case TVCI_C_INTERVAL_DS: return DoneIf(ToIntervalDs(value, buffer), sizeof(IntervalDsRec));
        case TVCI_C_LOB: return DefineLob(result, define, value);
        default: return NoConversion();
    }
}

void ConvertColumnToDefine(ResultSet *result, const DefineRecord *define) {
    ColumnValue value;
    Converted converted = {ColumnValueFind(result, define->column, &value), 0};
    if (converted.status == TVCI_VALUE_DONE) {
        converted = ConvertForDefine(result, define, &value);
    } else if (converted.status == TVCI_VALUE_NULL && define->c_type == TVCI_C_LOB) {
        ClearLobLength(define);
    }
    if (define->return_code != NULL) *define->return_code = converted.status;
    if (define->return_length != NULL) *define->return_length = converted.length;
}
