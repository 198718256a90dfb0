// Parameters of an array execution to the wire, row after row.
//
// Each bind points at an array, whose elements lie one behind the other as their C type says;
// texts, bytes and large values are arrays of pointers. The first row goes out parameter by
// parameter, each in a frame with its name. Every later row is a counted block without names. The
// blocks are gathered in the statement's buffer and written when it is full: a write for each row
// would cost a row twice as much.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/debug.h"
#include "platform/memory.h"
#include "records/handles.h"
#include "records/values.h"
#include "tavu/tvci.h"
#include "values/encode.h"
#include "values/types.h"
#include "wire/connection.h"

constexpr size_t ROW_BUFFER_BYTES = 65536;
// With less than this left the buffer grows before a value is looked at.
constexpr size_t ROW_BUFFER_MARGIN = 23;
constexpr size_t COUNT_BYTES = sizeof(uint32_t);
// In front of a value: its type, which some servers do not take, and its length.
constexpr size_t ELEMENT_HEAD_BYTES = sizeof(uint8_t) + sizeof(uint32_t);
constexpr size_t DATE_TEXT_LENGTH = 10;
constexpr size_t TIME_TEXT_LENGTH = 8;
constexpr size_t DATETIME_TEXT_LENGTH = 19;
// Room for the widest date record.
constexpr size_t WIDE_TEXT_BYTES = 128;
constexpr size_t TRACE_BYTES = 64;
// The protocol whose later rows do not say the types of their values.
constexpr char UNTYPED_ROWS_VERSION[] = "201";

// One value in the form in which it goes out.
struct Element {
    int32_t type;       // TypeId
    int32_t length;     // of the value; 0: NULL
    const void *bytes;  // the application's, or `scratch`
    uint8_t scratch[DATETIME_TEXT_LENGTH + 1];
};

// The buffer of the statement while its rows are written: whole blocks, and the block of the row at
// hand behind them.
struct RowWriter {
    Connection *conn;
    TVCIStmt *stmt;    // owns the buffer
    bool typed;        // each value of a later row is preceded by its type
    size_t row_start;  // of the row at hand, where its count will stand
    size_t row_bytes;  // behind the count
};

static void StoreWireInt32(uint8_t *target, uint32_t value) {
    const uint32_t wire = SwapBytes() ? __builtin_bswap32(value) : value;
    memcpy(target, &wire, sizeof(wire));
}

template <typename T>
static T ArrayElement(const BindRecord *bind, uint32_t row) {
    T value;
    memcpy(&value, (const uint8_t *)bind->value + (size_t)row * sizeof(T), sizeof(T));
    return value;
}

static void TakeScratch(Element *element, size_t length) {
    element->length = (int32_t)length;
    element->bytes = element->scratch;
}

static void TakeNull(Element *element) {
    element->length = 0;
    element->bytes = NULL;
}

static void TakeBytes(Element *element, const void *bytes, int32_t length) {
    if (bytes == NULL || length < 1) {
        TakeNull(element);
        return;
    }
    element->length = length;
    element->bytes = bytes;
}

// An integer, or the bits of a real number, in the byte order of the wire.
template <typename T>
static void TakeNumber(Element *element, T value) {
    if (SwapBytes()) {
        if constexpr (sizeof(T) == 2) value = __builtin_bswap16(value);
        if constexpr (sizeof(T) == 4) value = __builtin_bswap32(value);
        if constexpr (sizeof(T) == 8) value = __builtin_bswap64(value);
    }
    memcpy(element->scratch, &value, sizeof(value));
    TakeScratch(element, sizeof(value));
}

static void TakeBoolean(Element *element, uint8_t letter) {
    const bool is_true = letter == 'T' || letter == 't' || letter == '1' || letter == 1;
    TakeNumber<uint32_t>(element, is_true);
}

// Two digits and what stands behind them.
static uint8_t *PutTwo(uint8_t *text, int32_t number, char separator) {
    text[0] = (uint8_t)('0' + number / 10);
    text[1] = (uint8_t)('0' + number % 10);
    text[2] = (uint8_t)separator;
    return text + 3;
}

static bool HasTwoDigits(int32_t number) {
    return (uint32_t)number < 100;
}

// A text that is as long as its width only while its members are; a longer one is cut.
static void TakeWideText(Element *element, const char *text, size_t length) {
    memcpy(element->scratch, text, length);
    TakeScratch(element, length);
}

static bool IsUsualDate(int32_t year, int32_t month, int32_t day) {
    return (uint32_t)year < 10000 && HasTwoDigits(month) && HasTwoDigits(day);
}

static bool IsUsualTime(int32_t hour, int32_t minute, int32_t second) {
    return HasTwoDigits(hour) && HasTwoDigits(minute) && HasTwoDigits(second);
}

// The usual dates are written digit by digit: formatting them takes longer than all else in a row.
static uint8_t *PutDate(uint8_t *text, int32_t year, int32_t month, int32_t day, char separator) {
    text[0] = (uint8_t)('0' + year / 1000);
    text[1] = (uint8_t)('0' + year / 100 % 10);
    text = PutTwo(text + 2, year % 100, '-');
    text = PutTwo(text, month, '-');
    return PutTwo(text, day, separator);
}

static void PutTime(uint8_t *text, int32_t hour, int32_t minute, int32_t second) {
    text = PutTwo(text, hour, ':');
    text = PutTwo(text, minute, ':');
    PutTwo(text, second, '\0');
}

static void TakeDate(Element *element, const DateRec &date) {
    if (IsUsualDate(date.year, date.month, date.day)) {
        PutDate(element->scratch, date.year, date.month, date.day, '\0');
        TakeScratch(element, DATE_TEXT_LENGTH);
        return;
    }
    char text[WIDE_TEXT_BYTES];
    snprintf(text, sizeof(text), "%04d-%02d-%02d", date.year, date.month, date.day);
    TakeWideText(element, text, DATE_TEXT_LENGTH);
}

static void TakeTime(Element *element, const TimeRec &time) {
    if (IsUsualTime(time.hour, time.minute, time.second)) {
        PutTime(element->scratch, time.hour, time.minute, time.second);
        TakeScratch(element, TIME_TEXT_LENGTH);
        return;
    }
    char text[WIDE_TEXT_BYTES];
    snprintf(text, sizeof(text), "%02d:%02d:%02d", time.hour, time.minute, time.second);
    TakeWideText(element, text, TIME_TEXT_LENGTH);
}

// A fraction of a second does not go out.
static void TakeDateTime(Element *element, const DateTimeRec &date) {
    if (IsUsualDate(date.year, date.month, date.day) &&
        IsUsualTime(date.hour, date.minute, date.second)) {
        uint8_t *time = PutDate(element->scratch, date.year, date.month, date.day, ' ');
        PutTime(time, date.hour, date.minute, date.second);
        TakeScratch(element, DATETIME_TEXT_LENGTH);
        return;
    }
    char text[WIDE_TEXT_BYTES];
    snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d", date.year, date.month, date.day,
             date.hour, date.minute, date.second);
    TakeWideText(element, text, DATETIME_TEXT_LENGTH);
}

static void TakeLob(Element *element, const LobRecord *lob) {
    if (lob == NULL) {
        TakeNull(element);
        return;
    }
    TakeBytes(element, lob->data, lob->length);
}

bool ElementsArePointers(int32_t c_type) {
    switch (c_type) {
        case TVCI_C_CHAR:
        case TVCI_C_NUMERIC:
        case TVCI_C_TIME_TZ:
        case TVCI_C_DATETIME_TZ:
        case TVCI_C_BINARY:
        case TVCI_C_LOB: return true;
        default: return false;
    }
}

// Elements that lie at the bound value. A bind of one value is an array of one, unless its type
// makes elements pointers: it points at none.
static uint32_t ArrayRows(const BindRecord *bind) {
    if (bind->value == NULL) return 0;
    if (bind->array_rows > 0) return (uint32_t)bind->array_rows;
    return ElementsArePointers(bind->c_type) ? 0 : 1;
}

// The text or the bytes that an element points at. Without a length from the application a text
// ends at its NUL, and bytes fill their size.
static void TakePointed(Element *element, const BindRecord *bind, uint32_t row) {
    const char *bytes = ArrayElement<const char *>(bind, row);
    int32_t length = bind->value_size;
    if (bind->return_length != NULL) {
        length = bind->return_length[row];
    } else if (bind->c_type != TVCI_C_BINARY && bytes != NULL) {
        length = (int32_t)strnlen(bytes, length > 0 ? (size_t)length : (size_t)INT32_MAX);
    }
    TakeBytes(element, bytes, length);
}

// The TypeId under which elements of a form go out; 0 for a form that has none.
static int32_t ElementType(const ParamRecord *param) {
    switch (param->bind->c_type) {
        case TVCI_C_BOOL: return TYPE_INTEGER;
        case TVCI_C_TINYINT: return TYPE_TINYINT;
        case TVCI_C_SMALLINT: return TYPE_SMALLINT;
        case TVCI_C_INT: return TYPE_INTEGER;
        case TVCI_C_BIGINT: return TYPE_BIGINT;
        case TVCI_C_FLOAT: return TYPE_FLOAT;
        case TVCI_C_DOUBLE: return TYPE_DOUBLE;
        case TVCI_C_CHAR:
        case TVCI_C_NUMERIC:
        case TVCI_C_DATE:
        case TVCI_C_TIME:
        case TVCI_C_TIME_TZ:
        case TVCI_C_DATETIME:
        case TVCI_C_DATETIME_TZ: return TYPE_CHAR;
        case TVCI_C_BINARY: return TYPE_BINARY;
        case TVCI_C_LOB: return param->sql_type == SQL_CLOB ? TYPE_CLOB : TYPE_BLOB;
        default: return 0;
    }
}

// False for a form that has no elements.
static bool LoadElement(const ParamRecord *param, uint32_t row, Element *element) {
    const BindRecord *bind = param->bind;
    element->type = ElementType(param);
    if (element->type == TYPE_EMPTY) return false;
    const bool exists = row < ArrayRows(bind);
    if (!exists || (bind->return_length != NULL && bind->return_length[row] == 0)) {
        TakeNull(element);
        return true;
    }
    switch (bind->c_type) {
        case TVCI_C_BOOL: TakeBoolean(element, ArrayElement<uint8_t>(bind, row)); break;
        case TVCI_C_TINYINT: TakeNumber(element, ArrayElement<uint8_t>(bind, row)); break;
        case TVCI_C_SMALLINT: TakeNumber(element, ArrayElement<uint16_t>(bind, row)); break;
        case TVCI_C_INT:
        case TVCI_C_FLOAT: TakeNumber(element, ArrayElement<uint32_t>(bind, row)); break;
        case TVCI_C_BIGINT:
        case TVCI_C_DOUBLE: TakeNumber(element, ArrayElement<uint64_t>(bind, row)); break;
        case TVCI_C_DATE: TakeDate(element, ArrayElement<DateRec>(bind, row)); break;
        case TVCI_C_TIME: TakeTime(element, ArrayElement<TimeRec>(bind, row)); break;
        case TVCI_C_DATETIME: TakeDateTime(element, ArrayElement<DateTimeRec>(bind, row)); break;
        case TVCI_C_LOB: TakeLob(element, ArrayElement<const LobRecord *>(bind, row)); break;
        default: TakePointed(element, bind, row); break;
    }
    return true;
}

static bool LoadOrTrace(const ParamRecord *param, uint32_t row, Element *element) {
    if (LoadElement(param, row, element)) return true;
    char text[TRACE_BYTES];
    snprintf(text, sizeof(text), "no deal with type :%d\n", param->bind->c_type);
    DebugOutput(text);
    return false;
}

// The first row goes out at once; the rest of a frame whose value has no form does not.
static bool SendFirstElement(Connection *conn, const ParamRecord *param) {
    ParamSendName(conn, param);
    ConnWriteInt16(conn, PARAM_KIND_INPUT);
    Element element;
    if (!LoadOrTrace(param, 0, &element)) return false;
    ConnWriteInt16(conn, (uint16_t)element.type);
    ConnWriteInt32(conn, (uint32_t)element.length);
    ConnWrite(conn, element.bytes, element.length);
    return true;
}

// Writes the whole blocks and moves the row at hand to the front.
static void WriteBlocks(RowWriter *writer) {
    uint8_t *buffer = writer->stmt->row_buffer;
    ConnWrite(writer->conn, buffer, (int32_t)writer->row_start);
    if (writer->row_bytes > 0) {
        const uint8_t *row = buffer + writer->row_start + COUNT_BYTES;
        memmove(buffer + COUNT_BYTES, row, writer->row_bytes);
    }
    writer->row_start = 0;
}

// What is gathered goes out in one write, whose length is a signed word, also where a long row has
// left a larger buffer behind.
static bool HasRoom(const RowWriter *writer, size_t bytes) {
    const size_t used = writer->row_start + writer->row_bytes;
    const size_t room = std::min(writer->stmt->row_buffer_bytes, INT32_MAX - COUNT_BYTES);
    return used <= room && room - used >= bytes;
}

// Makes room for `bytes` more in the row at hand. A row that has the buffer to itself doubles it.
// False when memory is short, or when the row would be longer than its count can tell.
static bool MakeRoom(RowWriter *writer, size_t bytes) {
    TVCIStmt *stmt = writer->stmt;
    if (writer->row_start > 0) {
        WriteBlocks(writer);
        if (HasRoom(writer, bytes)) return true;
    }
    if (writer->row_bytes + bytes > INT32_MAX - COUNT_BYTES) return false;
    size_t grown_bytes = stmt->row_buffer_bytes;
    while (grown_bytes - writer->row_bytes < bytes) {
        grown_bytes *= 2;
    }
    uint8_t *grown = (uint8_t *)MemRealloc(stmt->row_buffer, COUNT_BYTES + grown_bytes);
    if (grown == NULL) return false;
    stmt->row_buffer = grown;
    stmt->row_buffer_bytes = grown_bytes;
    return true;
}

static bool AppendElement(RowWriter *writer, const ParamRecord *param, uint32_t row) {
    Element element;
    if (!LoadOrTrace(param, row, &element)) return false;
    const size_t length = (size_t)element.length;
    const size_t needed = std::max(ELEMENT_HEAD_BYTES + length, ROW_BUFFER_MARGIN);
    if (!HasRoom(writer, needed) && !MakeRoom(writer, needed)) return false;
    uint8_t *const start = writer->stmt->row_buffer + writer->row_start + COUNT_BYTES;
    uint8_t *end = start + writer->row_bytes;
    if (writer->typed) {
        *end++ = (uint8_t)element.type;
    }
    StoreWireInt32(end, (uint32_t)length);
    end += sizeof(uint32_t);
    if (length > 0) {
        memcpy(end, element.bytes, length);
        end += length;
    }
    writer->row_bytes = (size_t)(end - start);
    return true;
}

// Puts the count in front of the row at hand; a row without values is not there at all.
static void EndRow(RowWriter *writer) {
    if (writer->row_bytes == 0) return;
    StoreWireInt32(writer->stmt->row_buffer + writer->row_start, (uint32_t)writer->row_bytes);
    writer->row_start += COUNT_BYTES + writer->row_bytes;
    writer->row_bytes = 0;
}

static bool AppendRow(RowWriter *writer, uint32_t row) {
    const TVCIStmt *stmt = writer->stmt;
    for (int32_t i = 0; i < stmt->param_count; i++) {
        const ParamRecord *param = &stmt->params[i];
        if (param->bound != 0 && !AppendElement(writer, param, row)) return false;
    }
    EndRow(writer);
    return true;
}

static bool SendFirstRow(Connection *conn, const TVCIStmt *stmt) {
    for (int32_t i = 0; i < stmt->param_count; i++) {
        const ParamRecord *param = &stmt->params[i];
        if (param->bound != 0 && !SendFirstElement(conn, param)) return false;
    }
    return true;
}

// The buffer stays with the statement, for its next execution.
void ParamSendRows(Connection *conn, TVCIStmt *stmt) {
    if (stmt->row_buffer == NULL) {
        stmt->row_buffer = (uint8_t *)MemAllocRaw(COUNT_BYTES + ROW_BUFFER_BYTES);
        if (stmt->row_buffer == NULL) return;
        stmt->row_buffer_bytes = ROW_BUFFER_BYTES;
    }
    if (stmt->array_rows == 0 || !SendFirstRow(conn, stmt)) return;
    const bool typed = strcmp(stmt->session->attr.version, UNTYPED_ROWS_VERSION) != 0;
    RowWriter writer = {conn, stmt, typed, 0, 0};
    for (uint32_t row = 1; row < stmt->array_rows; row++) {
        if (!AppendRow(&writer, row)) break;
    }
    ConnWrite(conn, stmt->row_buffer, (int32_t)writer.row_start);
}
