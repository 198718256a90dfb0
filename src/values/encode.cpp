// Parameters to the wire: the form of the application's buffer crossed with the declared type.
#include "values/encode.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/memory.h"
#include "records/values.h"
#include "tavu/tvci.h"
#include "values/numeric.h"
#include "values/types.h"
#include "wire/connection.h"

// Room for a number or an interval as text; a longer text is cut one byte earlier.
constexpr int32_t SHORT_TEXT_BYTES = 64;
// Room for the widest date record: nine members of 11 characters and what stands between them.
constexpr int32_t DATE_TEXT_BYTES = 128;
// The texts that a server takes for dates and times.
constexpr int32_t DATE_TEXT_LENGTH = 10;
constexpr int32_t TIME_TEXT_LENGTH = 8;
constexpr int32_t DATETIME_TEXT_MAX = 24;
constexpr int32_t DATETIME_TZ_TEXT_MAX = 31;
constexpr int32_t TIME_TZ_TEXT_MAX = 16;
constexpr size_t NAME_BYTES_MAX = 65535;

char *BytesToHex(const void *bytes, int32_t length) {
    static const char digits[] = "0123456789ABCDEF";
    if (bytes == NULL || length < 1) return NULL;
    char *text = (char *)MemAllocRaw(2 * (size_t)length + 1);
    if (text == NULL) return NULL;
    char *end = text;
    for (int32_t i = 0; i < length; i++) {
        const uint8_t byte = ((const uint8_t *)bytes)[i];
        *end++ = digits[byte >> 4];
        *end++ = digits[byte & 15];
    }
    *end = '\0';
    return text;
}

template <typename T>
static T ValueAs(const BindRecord *bind) {
    T value;
    memcpy(&value, bind->value, sizeof(value));
    return value;
}

// The length of the bound text, at most `bytes_max` and what its buffer has.
static int32_t TextBytes(const BindRecord *bind, int32_t bytes_max) {
    if (bind->value_size > 0) bytes_max = std::min(bytes_max, bind->value_size);
    const void *end = memchr(bind->value, '\0', (size_t)bytes_max);
    return end == NULL ? bytes_max : (int32_t)((const char *)end - (const char *)bind->value);
}

static int32_t LobBytes(const BindRecord *bind) {
    const LobRecord lob = ValueAs<LobRecord>(bind);
    // A large value that was never fetched has a length and no bytes to send.
    return lob.data == NULL ? 0 : lob.length;
}

// The length of the value; below 1 it is sent as a NULL.
static int32_t ValueLength(const BindRecord *bind) {
    if (bind->value == NULL) return 0;
    if (bind->array_rows > 0 && ElementsArePointers(bind->c_type)) return 0;
    const bool counted = bind->return_length != NULL;
    switch (bind->c_type) {
        case TVCI_C_CHAR:
            if (!counted) return TextBytes(bind, bind->value_size);
            return std::min(*bind->return_length, bind->value_size);
        case TVCI_C_BINARY:
            if (!counted) return bind->value_size;
            return std::min(*bind->return_length, bind->value_size);
        case TVCI_C_LOB:
            if (!counted) return LobBytes(bind);
            return std::min(*bind->return_length, LobBytes(bind));
        default:
            if (!counted || *bind->return_length < 0) return 1;
            return *bind->return_length;
    }
}

// Bytes of a value of fixed width; 0 for a form that has none.
static int32_t ValueWidth(int32_t c_type) {
    switch (c_type) {
        case TVCI_C_BOOL:
        case TVCI_C_TINYINT: return sizeof(int8_t);
        case TVCI_C_SMALLINT: return sizeof(int16_t);
        case TVCI_C_INT: return sizeof(int32_t);
        case TVCI_C_BIGINT: return sizeof(int64_t);
        case TVCI_C_FLOAT: return sizeof(float);
        case TVCI_C_DOUBLE: return sizeof(double);
        case TVCI_C_DATE: return sizeof(DateRec);
        case TVCI_C_TIME: return sizeof(TimeRec);
        case TVCI_C_TIME_TZ: return sizeof(TimeTzRec);
        case TVCI_C_DATETIME: return sizeof(DateTimeRec);
        case TVCI_C_DATETIME_TZ: return sizeof(DateTimeTzRec);
        case TVCI_C_INTERVAL: return sizeof(IntervalRec);
        case TVCI_C_INTERVAL_YM: return sizeof(IntervalYmRec);
        case TVCI_C_INTERVAL_DS: return sizeof(IntervalDsRec);
        case TVCI_C_LOB: return sizeof(LobRecord);
        default: return 0;
    }
}

static void SendHead(Connection *conn, int32_t type, int32_t length) {
    ConnWriteInt16(conn, (uint16_t)type);
    ConnWriteInt32(conn, (uint32_t)length);
}

static void SendBytes(Connection *conn, int32_t type, const void *bytes, int32_t length) {
    SendHead(conn, type, length);
    if (length > 0) ConnWrite(conn, bytes, length);
}

static void SendText(Connection *conn, const char *text) {
    SendBytes(conn, TYPE_CHAR, text, (int32_t)strlen(text));
}

// The bound text as it stands, cut at `bytes_max`.
static void SendBoundText(Connection *conn, const BindRecord *bind, int32_t bytes_max) {
    SendBytes(conn, TYPE_CHAR, bind->value, TextBytes(bind, bytes_max));
}

// The first bytes of the bound text. The server is promised all of them, so what the buffer lacks
// goes out as NULs.
static void SendTextOfLength(Connection *conn, const BindRecord *bind, int32_t length) {
    char text[DATE_TEXT_BYTES] = {};
    memcpy(text, bind->value, (size_t)std::min(length, bind->value_size));
    SendBytes(conn, TYPE_CHAR, text, length);
}

// The bytes of the value as they lie in the application. A length that the value cannot have, such
// as the one that stands for "all of it", ends where the buffer or the record ends.
static void SendValueBytes(Connection *conn, int32_t type, const BindRecord *bind, int32_t length) {
    int32_t bytes_max = bind->value_size;
    if (bind->c_type == TVCI_C_LOB || bytes_max < 1) bytes_max = ValueWidth(bind->c_type);
    if (bytes_max > 0) length = std::min(length, bytes_max);
    SendBytes(conn, type, bind->value, length);
}

static void SendLargeValue(Connection *conn, int32_t type, const BindRecord *bind, int32_t length) {
    if (bind->c_type != TVCI_C_LOB) {
        SendValueBytes(conn, type, bind, length);
        return;
    }
    SendBytes(conn, type, ValueAs<LobRecord>(bind).data, length);
}

static bool IsInteger(int32_t c_type) {
    return c_type >= TVCI_C_TINYINT && c_type <= TVCI_C_BIGINT;
}

static bool IsReal(int32_t c_type) {
    return c_type == TVCI_C_FLOAT || c_type == TVCI_C_DOUBLE;
}

// An integer, with its sign.
static int64_t LoadInteger(const BindRecord *bind) {
    switch (bind->c_type) {
        case TVCI_C_TINYINT: return ValueAs<int8_t>(bind);
        case TVCI_C_SMALLINT: return ValueAs<int16_t>(bind);
        case TVCI_C_INT: return ValueAs<int32_t>(bind);
        default: return ValueAs<int64_t>(bind);
    }
}

static double LoadReal(const BindRecord *bind) {
    return bind->c_type == TVCI_C_FLOAT ? ValueAs<float>(bind) : ValueAs<double>(bind);
}

// A number for an integer type of at most 32 bits, which takes the low bits; 0 for what is none.
static int32_t LoadInt32(const BindRecord *bind) {
    if (IsInteger(bind->c_type)) return (int32_t)LoadInteger(bind);
    return IsReal(bind->c_type) ? CutToInt32(LoadReal(bind)) : 0;
}

static uint8_t LoadInt8(const BindRecord *bind) {
    return IsInteger(bind->c_type) ? ValueAs<uint8_t>(bind) : (uint8_t)LoadInt32(bind);
}

// Of a wider integer nothing is read behind its low bits: the call interface binds 16-bit buffers
// under the 32-bit form.
static uint16_t LoadInt16(const BindRecord *bind) {
    const bool wide = IsInteger(bind->c_type) && bind->c_type != TVCI_C_TINYINT;
    return wide ? ValueAs<uint16_t>(bind) : (uint16_t)LoadInt32(bind);
}

static int64_t LoadInt64(const BindRecord *bind) {
    if (IsInteger(bind->c_type)) return LoadInteger(bind);
    return IsReal(bind->c_type) ? CutToInt64(LoadReal(bind)) : 0;
}

static float LoadFloat(const BindRecord *bind) {
    if (IsInteger(bind->c_type)) return (float)LoadInteger(bind);
    if (bind->c_type == TVCI_C_FLOAT) return ValueAs<float>(bind);
    return bind->c_type == TVCI_C_DOUBLE ? (float)ValueAs<double>(bind) : 0;
}

static double LoadDouble(const BindRecord *bind) {
    if (IsInteger(bind->c_type)) return (double)LoadInteger(bind);
    return IsReal(bind->c_type) ? LoadReal(bind) : 0;
}

// A boolean goes out as an integer; a letter that is neither true nor false as its own code.
static int32_t LoadBoolean(const BindRecord *bind) {
    const uint8_t first = ValueAs<uint8_t>(bind);
    switch (bind->c_type) {
        case TVCI_C_BOOL:
        case TVCI_C_TINYINT: return first != 0;
        case TVCI_C_CHAR:
            if (first == 't' || first == 'T') return 1;
            return first == 'f' || first == 'F' ? 0 : first;
        case TVCI_C_SMALLINT:
        case TVCI_C_INT: return LoadInteger(bind) != 0;
        default: return 0;
    }
}

static void SendNumeric(Connection *conn, const BindRecord *bind) {
    char text[SHORT_TEXT_BYTES];
    switch (bind->c_type) {
        case TVCI_C_CHAR:
        case TVCI_C_NUMERIC: SendBoundText(conn, bind, SHORT_TEXT_BYTES - 1); return;
        case TVCI_C_TINYINT:
        case TVCI_C_SMALLINT:
        case TVCI_C_INT:
        case TVCI_C_BIGINT:
            snprintf(text, sizeof(text), "%lld", (long long)LoadInteger(bind));
            break;
        case TVCI_C_FLOAT:
        case TVCI_C_DOUBLE: snprintf(text, sizeof(text), "%f", LoadReal(bind)); break;
        default: snprintf(text, sizeof(text), "0"); break;
    }
    SendText(conn, text);
}

static void SendDate(Connection *conn, const BindRecord *bind) {
    if (bind->c_type == TVCI_C_CHAR) {
        SendTextOfLength(conn, bind, DATE_TEXT_LENGTH);
        return;
    }
    if (bind->c_type != TVCI_C_DATE) {
        SendHead(conn, TYPE_CHAR, 0);
        return;
    }
    const DateRec date = ValueAs<DateRec>(bind);
    char text[DATE_TEXT_BYTES];
    snprintf(text, sizeof(text), "%04d-%02d-%02d", date.year, date.month, date.day);
    SendBytes(conn, TYPE_CHAR, text, DATE_TEXT_LENGTH);
}

static void SendTime(Connection *conn, const BindRecord *bind) {
    if (bind->c_type == TVCI_C_CHAR) {
        SendTextOfLength(conn, bind, TIME_TEXT_LENGTH);
        return;
    }
    if (bind->c_type != TVCI_C_TIME) {
        SendHead(conn, TYPE_CHAR, 0);
        return;
    }
    const TimeRec time = ValueAs<TimeRec>(bind);
    char text[DATE_TEXT_BYTES];
    snprintf(text, sizeof(text), "%02d:%02d:%02d", time.hour, time.minute, time.second);
    SendBytes(conn, TYPE_CHAR, text, TIME_TEXT_LENGTH);
}

static void SendDateTime(Connection *conn, const BindRecord *bind) {
    if (bind->c_type == TVCI_C_CHAR) {
        SendBoundText(conn, bind, DATETIME_TEXT_MAX);
        return;
    }
    if (bind->c_type != TVCI_C_DATETIME) {
        SendHead(conn, TYPE_BINARY, 0);
        return;
    }
    const DateTimeRec date = ValueAs<DateTimeRec>(bind);
    char text[DATE_TEXT_BYTES];
    snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d.%03d", date.year, date.month,
             date.day, date.hour, date.minute, date.second, date.fraction);
    SendText(conn, text);
}

// A zone as the server reads it. One sign stands for both members.
static void PrintZone(char *text, size_t text_bytes, int32_t tz_hour, int32_t tz_minute) {
    const char sign = tz_hour < 0 || tz_minute < 0 ? '-' : '+';
    const uint32_t hours = tz_hour < 0 ? 0 - (uint32_t)tz_hour : (uint32_t)tz_hour;
    const uint32_t minutes = tz_minute < 0 ? 0 - (uint32_t)tz_minute : (uint32_t)tz_minute;
    snprintf(text, text_bytes, "%c%02u:%02u", sign, hours, minutes);
}

static void SendDateTimeTz(Connection *conn, const BindRecord *bind) {
    if (bind->c_type == TVCI_C_CHAR) {
        SendBoundText(conn, bind, DATETIME_TZ_TEXT_MAX);
        return;
    }
    if (bind->c_type != TVCI_C_DATETIME_TZ) return;
    const DateTimeTzRec date = ValueAs<DateTimeTzRec>(bind);
    char zone[SHORT_TEXT_BYTES];
    PrintZone(zone, sizeof(zone), date.tz_hour, date.tz_minute);
    char text[DATE_TEXT_BYTES + SHORT_TEXT_BYTES];
    snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d.%03d %s", date.year, date.month,
             date.day, date.hour, date.minute, date.second, date.fraction, zone);
    SendText(conn, text);
}

static void SendTimeTz(Connection *conn, const BindRecord *bind) {
    if (bind->c_type == TVCI_C_CHAR) {
        SendBoundText(conn, bind, TIME_TZ_TEXT_MAX);
        return;
    }
    if (bind->c_type != TVCI_C_TIME_TZ) return;
    const TimeTzRec time = ValueAs<TimeTzRec>(bind);
    char zone[SHORT_TEXT_BYTES];
    PrintZone(zone, sizeof(zone), time.tz_hour, time.tz_minute);
    char text[DATE_TEXT_BYTES + SHORT_TEXT_BYTES];
    snprintf(text, sizeof(text), "%02d:%02d:%02d %s", time.hour, time.minute, time.second, zone);
    SendText(conn, text);
}

// The members of an interval, from whichever record holds it.
struct IntervalUnits {
    int32_t year, month, day, hour, minute, second;
};

static bool IsYearMonth(int32_t sql_type) {
    return sql_type == SQL_INTERVAL_YEAR || sql_type == SQL_INTERVAL_MONTH ||
           sql_type == SQL_INTERVAL_YEAR_MONTH;
}

static bool LoadInterval(const BindRecord *bind, int32_t sql_type, IntervalUnits *units) {
    *units = {};
    if (bind->c_type == TVCI_C_INTERVAL) {
        const IntervalRec record = ValueAs<IntervalRec>(bind);
        *units = {record.year_or_day,   record.month_or_hour, record.year_or_day,
                  record.month_or_hour, record.minute,        record.second};
        return true;
    }
    if (bind->c_type == TVCI_C_INTERVAL_YM && IsYearMonth(sql_type)) {
        const IntervalYmRec record = ValueAs<IntervalYmRec>(bind);
        units->year = record.year;
        units->month = record.month;
        return true;
    }
    if (bind->c_type == TVCI_C_INTERVAL_DS && !IsYearMonth(sql_type)) {
        const IntervalDsRec record = ValueAs<IntervalDsRec>(bind);
        *units = {0, 0, record.day, record.hour, record.minute, record.second};
        return true;
    }
    return false;
}

// A fraction of a second is not sent, and the hour between days and minutes is not padded: so the
// server reads them.
static void SendInterval(Connection *conn, const BindRecord *bind, int32_t sql_type) {
    const bool takes_text =
        sql_type == SQL_INTERVAL_YEAR_MONTH || sql_type == SQL_INTERVAL_DAY_SECOND;
    if (bind->c_type == TVCI_C_CHAR && takes_text) {
        SendBoundText(conn, bind, SHORT_TEXT_BYTES - 1);
        return;
    }
    IntervalUnits units;
    if (!LoadInterval(bind, sql_type, &units)) return;
    const auto [year, month, day, hour, minute, second] = units;
    char text[SHORT_TEXT_BYTES];
    const size_t size = sizeof(text);
    switch (sql_type) {
        case SQL_INTERVAL_YEAR: snprintf(text, size, "%d", year); break;
        case SQL_INTERVAL_MONTH: snprintf(text, size, "%d", month); break;
        case SQL_INTERVAL_DAY: snprintf(text, size, "%d", day); break;
        case SQL_INTERVAL_HOUR: snprintf(text, size, "%d", hour); break;
        case SQL_INTERVAL_MINUTE: snprintf(text, size, "%d", minute); break;
        case SQL_INTERVAL_SECOND: snprintf(text, size, "%d", second); break;
        case SQL_INTERVAL_YEAR_MONTH: snprintf(text, size, "%d-%02d", year, month); break;
        case SQL_INTERVAL_DAY_SECOND:
            snprintf(text, size, "%d %d:%02d:%02d", day, hour, minute, second);
            break;
        case SQL_INTERVAL_DAY_HOUR: snprintf(text, size, "%d %02d", day, hour); break;
        case SQL_INTERVAL_DAY_MINUTE: snprintf(text, size, "%d %d:%02d", day, hour, minute); break;
        case SQL_INTERVAL_HOUR_MINUTE: snprintf(text, size, "%d:%02d", hour, minute); break;
        case SQL_INTERVAL_HOUR_SECOND:
            snprintf(text, size, "%d:%02d:%02d", hour, minute, second);
            break;
        case SQL_INTERVAL_MINUTE_SECOND: snprintf(text, size, "%d:%02d", minute, second); break;
        default: return;
    }
    SendText(conn, text);
}

static bool IsGeometry(int32_t sql_type) {
    return sql_type >= SQL_POINT && sql_type <= SQL_RASTER;
}

// Type and length of a value that is absent.
static void SendEmpty(Connection *conn, int32_t sql_type) {
    int32_t type = TYPE_BINARY;
    switch (sql_type) {
        case SQL_BOOLEAN: type = TYPE_INTEGER; break;
        case SQL_TINYINT: type = TYPE_TINYINT; break;
        case SQL_SMALLINT: type = TYPE_SMALLINT; break;
        case SQL_INTEGER: type = TYPE_INTEGER; break;
        case SQL_BIGINT: type = TYPE_BIGINT; break;
        case SQL_FLOAT: type = TYPE_FLOAT; break;
        case SQL_DOUBLE: type = TYPE_DOUBLE; break;
        case SQL_CLOB: type = TYPE_CLOB; break;
        case SQL_LONG_BINARY:
        case SQL_BLOB: type = TYPE_BLOB; break;
        default:
            if ((sql_type >= SQL_NUMERIC && sql_type <= SQL_CHAR) ||
                (sql_type >= SQL_INTERVAL_YEAR && sql_type <= SQL_RASTER)) {
                type = TYPE_CHAR;
            }
            break;
    }
    SendHead(conn, type, 0);
    // A geometry announces a count of bytes of its own first, which is always 0.
    if (IsGeometry(sql_type)) ConnWriteInt32(conn, 0);
}

// The hexadecimal text goes with its NUL.
static void SendGeometry(Connection *conn, const BindRecord *bind, int32_t sql_type,
                         int32_t length) {
    if (bind->c_type != TVCI_C_LOB) {
        const int32_t type = bind->c_type == TVCI_C_BINARY ? TYPE_BINARY : TYPE_CHAR;
        SendValueBytes(conn, type, bind, length);
        return;
    }
    // Twice the bytes and the NUL have to fit the length word.
    char *text = NULL;
    if (length <= INT32_MAX / 2) text = BytesToHex(ValueAs<LobRecord>(bind).data, length);
    if (text == NULL) {
        SendEmpty(conn, sql_type);
        return;
    }
    SendBytes(conn, TYPE_CHAR, text, 2 * length + 1);
    MemFree(text);
}

static void SendValue(Connection *conn, const BindRecord *bind, int32_t sql_type, int32_t length) {
    switch (sql_type) {
        case SQL_BOOLEAN:
            SendHead(conn, TYPE_INTEGER, 4);
            ConnWriteInt32(conn, (uint32_t)LoadBoolean(bind));
            break;
        case SQL_TINYINT: {
            const uint8_t byte = LoadInt8(bind);
            SendBytes(conn, TYPE_TINYINT, &byte, 1);
            break;
        }
        case SQL_SMALLINT:
            SendHead(conn, TYPE_SMALLINT, 2);
            ConnWriteInt16(conn, LoadInt16(bind));
            break;
        case SQL_INTEGER:
            SendHead(conn, TYPE_INTEGER, 4);
            ConnWriteInt32(conn, (uint32_t)LoadInt32(bind));
            break;
        case SQL_BIGINT:
            SendHead(conn, TYPE_BIGINT, 8);
            ConnWriteInt64(conn, (uint64_t)LoadInt64(bind));
            break;
        case SQL_FLOAT:
            SendHead(conn, TYPE_FLOAT, 4);
            ConnWriteFloat(conn, LoadFloat(bind));
            break;
        case SQL_DOUBLE:
            SendHead(conn, TYPE_DOUBLE, 8);
            ConnWriteDouble(conn, LoadDouble(bind));
            break;
        case SQL_NUMERIC: SendNumeric(conn, bind); break;
        case SQL_DATE: SendDate(conn, bind); break;
        case SQL_TIME: SendTime(conn, bind); break;
        case SQL_DATETIME: SendDateTime(conn, bind); break;
        case SQL_CHAR: SendValueBytes(conn, TYPE_CHAR, bind, length); break;
        case SQL_BINARY: SendValueBytes(conn, TYPE_BINARY, bind, length); break;
        case SQL_CLOB: SendLargeValue(conn, TYPE_CLOB, bind, length); break;
        case SQL_LONG_BINARY:
        case SQL_BLOB: SendLargeValue(conn, TYPE_BLOB, bind, length); break;
        case SQL_DATETIME_TZ: SendDateTimeTz(conn, bind); break;
        case SQL_TIME_TZ: SendTimeTz(conn, bind); break;
        default:
            if (IsGeometry(sql_type)) {
                SendGeometry(conn, bind, sql_type, length);
            } else {
                SendInterval(conn, bind, sql_type);
            }
            break;
    }
}

void ParamSendName(Connection *conn, const ParamRecord *param) {
    const size_t name_bytes =
        param->name == NULL ? 0 : std::min(strlen(param->name), NAME_BYTES_MAX);
    ConnWriteInt16(conn, (uint16_t)name_bytes);
    ConnWrite(conn, param->name, (int32_t)name_bytes);
}

void ParamSend(Connection *conn, const ParamRecord *param) {
    if (param->bound == 0) return;
    ParamSendName(conn, param);
    ConnWriteInt16(conn, (uint16_t)param->kind);
    const int32_t length = ValueLength(param->bind);
    if (param->kind == PARAM_KIND_OUTPUT || length < 1) {
        SendEmpty(conn, param->sql_type);
    } else {
        SendValue(conn, param->bind, param->sql_type, length);
    }
}
