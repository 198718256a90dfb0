// Output parameters: what a response returns for the parameters of its statement.
#include <initializer_list>

#include "platform/memory.h"
#include "records/handles.h"
#include "records/values.h"
#include "values/calendar.h"
#include "values/column_value.h"
#include "values/datetime.h"
#include "values/decode.h"
#include "values/interval.h"
#include "values/numeric.h"
#include "values/render.h"
#include "wire/connection.h"

// One value as it came.
struct OutValue {
    ColumnValue value;  // points into `fixed` or at `block`
    uint8_t fixed[8];   // of a type with a width of its own, in host order
    uint8_t *block;     // owned; of any other, with a NUL behind it
};

// CTypes as a set.
constexpr uint64_t Forms(std::initializer_list<int32_t> c_types) {
    uint64_t forms = 0;
    for (const int32_t c_type : c_types) {
        forms |= UINT64_C(1) << c_type;
    }
    return forms;
}

constexpr int32_t FORM_LIMIT = 64;
constexpr uint64_t INTEGER_FORMS =
    Forms({TVCI_C_CHAR, TVCI_C_TINYINT, TVCI_C_SMALLINT, TVCI_C_INT, TVCI_C_BIGINT});
constexpr uint64_t REAL_FORMS = INTEGER_FORMS | Forms({TVCI_C_FLOAT, TVCI_C_DOUBLE});
constexpr uint64_t YM_FORMS = Forms({TVCI_C_CHAR, TVCI_C_INTERVAL, TVCI_C_INTERVAL_YM});
constexpr uint64_t DS_FORMS = Forms({TVCI_C_CHAR, TVCI_C_INTERVAL, TVCI_C_INTERVAL_DS});

// The forms in which the value of a type can be taken.
static uint64_t FormsOf(int32_t type) {
    switch (type) {
        case TYPE_BOOLEAN: return INTEGER_FORMS | Forms({TVCI_C_BOOL});
        case TYPE_TINYINT:
        case TYPE_SMALLINT:
        case TYPE_INTEGER:
        case TYPE_BIGINT: return INTEGER_FORMS;
        case TYPE_NUMERIC: return Forms({TVCI_C_CHAR, TVCI_C_FLOAT, TVCI_C_DOUBLE, TVCI_C_NUMERIC});
        case TYPE_FLOAT:
        case TYPE_DOUBLE: return REAL_FORMS;
        case TYPE_DATE: return Forms({TVCI_C_CHAR, TVCI_C_DATE});
        case TYPE_TIME: return Forms({TVCI_C_CHAR, TVCI_C_TIME});
        case TYPE_DATETIME: return Forms({TVCI_C_CHAR, TVCI_C_DATETIME});
        case TYPE_INTERVAL_YEAR:
        case TYPE_INTERVAL_YEAR_MONTH:
        case TYPE_INTERVAL_MONTH: return YM_FORMS;
        case TYPE_CHAR:
        case TYPE_BINARY: return Forms({TVCI_C_CHAR, TVCI_C_BINARY});
        case TYPE_CLOB:
        case TYPE_BLOB: return Forms({TVCI_C_CHAR, TVCI_C_BINARY, TVCI_C_LOB});
        default:
            if (type >= TYPE_INTERVAL_DAY && type <= TYPE_INTERVAL_SECOND) return DS_FORMS;
            return 0;
    }
}

static bool IsTaken(int32_t type, int32_t c_type) {
    return c_type < FORM_LIMIT && (FormsOf(type) >> c_type & 1) != 0;
}

// Reads a value whose type alone says how wide it is.
static bool ReadFixed(Connection *conn, int32_t width, uint8_t *fixed) {
    uint16_t word16;
    uint32_t word32;
    uint64_t word64;
    switch (width) {
        case 1: return ConnReadChar(conn, fixed);
        case 2:
            if (!ConnReadInt16(conn, &word16)) return false;
            Store(fixed, word16);
            return true;
        case 4:
            if (!ConnReadInt32(conn, &word32)) return false;
            Store(fixed, word32);
            return true;
        default:
            if (!ConnReadInt64(conn, &word64)) return false;
            Store(fixed, word64);
            return true;
    }
}

static bool ReadBlock(Connection *conn, OutValue *out) {
    const int32_t length = out->value.length;
    out->block = (uint8_t *)MemAllocRaw((size_t)length + 1);
    if (out->block == NULL) return false;
    if (!ConnReadDeciphered(conn, out->block, length)) {
        MemFree(out->block);
        return false;
    }
    out->block[length] = '\0';
    out->value.bytes = out->block;
    return true;
}

// Reads the value behind its length. On false nothing is owned.
static bool ReadValue(Connection *conn, OutValue *out) {
    const int32_t width = TypeFixedSize(out->value.type);
    if (width >= EXTERNAL_SLOT_BYTES) return ReadBlock(conn, out);
    out->value.bytes = out->fixed;
    return ReadFixed(conn, width, out->fixed);
}

static int32_t OutLength(const BindRecord *bind, Converted converted) {
    if (bind->return_length != NULL) *bind->return_length = converted.length;
    return converted.status;
}

static int32_t OutText(const BindRecord *bind, const ColumnValue *value) {
    char text[RENDER_BYTES];
    if (value->type == TYPE_NUMERIC || IsRawText(value->type)) {
        return OutLength(
            bind, CopyTerminated(bind->value, bind->value_size, value->bytes, value->length));
    }
    const int32_t text_bytes = RenderValue(value, RENDER_FOR_OUT_PARAMETER, text);
    return OutLength(bind, CopyTerminated(bind->value, bind->value_size, text, text_bytes));
}

// A value that fills the variable to the last byte is whole.
static int32_t OutBinary(const BindRecord *bind, const ColumnValue *value) {
    ZeroBytes(bind->value, bind->value_size);
    if (bind->value_size < value->length) {
        CopyBytes(bind->value, value->bytes, bind->value_size);
        return OutLength(bind, Truncated(value->length - bind->value_size));
    }
    CopyBytes(bind->value, value->bytes, value->length);
    return OutLength(bind, Done(value->length));
}

// The form has room for so many bytes; a variable that has less bounds it further.
static int32_t OutNumeric(const BindRecord *bind, const ColumnValue *value) {
    const int32_t room = std::clamp(bind->value_size, 0, NUMERIC_TEXT_BYTES);
    const int32_t length = std::min(value->length, NUMERIC_TEXT_BYTES);
    ZeroBytes(bind->value, room);
    CopyBytes(bind->value, value->bytes, std::min(length, room));
    return length > room ? TVCI_VALUE_TRUNCATED : TVCI_VALUE_DONE;
}

// A real number as an integer: through 32 bits for all but the widest.
static void OutInteger(const BindRecord *bind, const ColumnValue *value) {
    const double real =
        value->type == TYPE_FLOAT ? LoadAs<float>(value->bytes) : LoadAs<double>(value->bytes);
    switch (bind->c_type) {
        case TVCI_C_TINYINT: Store(bind->value, (int8_t)CutToInt32(real)); break;
        case TVCI_C_SMALLINT: Store(bind->value, (int16_t)CutToInt32(real)); break;
        case TVCI_C_INT: Store(bind->value, CutToInt32(real)); break;
        default: Store(bind->value, CutToInt64(real)); break;
    }
}

static void OutDateTime(const BindRecord *bind, const ColumnValue *value) {
    DateTimeRec record;
    SplitDateTimeMicros(LoadAs<int64_t>(value->bytes), &record);
    Store(bind->value, record);
}

// Frees what the record owns: its data, unless they are lent, those that were fetched for a
// descriptor all the same; the descriptor, when it is the server's and not lent.
static void FreeLobContent(const LobRecord *lob) {
    if (!lob->borrowed || lob->descriptor != NULL) {
        MemFree(lob->data);
    }
    if (!lob->borrowed && lob->remote) {
        MemFree(lob->descriptor);
    }
}

// The record becomes a local one that owns the bytes as they were received.
static void OutLob(const BindRecord *bind, OutValue *out) {
    LobRecord lob = LoadAs<LobRecord>(bind->value);
    FreeLobContent(&lob);
    lob = {};
    lob.kind = out->value.type == TYPE_CLOB ? LOB_KIND_CLOB : LOB_KIND_BLOB;
    lob.length = out->value.length;
    lob.data = out->block;
    out->block = NULL;
    Store(bind->value, lob);
}

static bool IsRealToInteger(int32_t type, int32_t c_type) {
    return (type == TYPE_FLOAT || type == TYPE_DOUBLE) && c_type >= TVCI_C_TINYINT &&
           c_type <= TVCI_C_BIGINT;
}

// Puts the value into the variable; returns the status. The pair is one that is taken.
static int32_t TakeOut(const BindRecord *bind, OutValue *out) {
    const ColumnValue *value = &out->value;
    if (IsRealToInteger(value->type, bind->c_type)) {
        OutInteger(bind, value);
        return TVCI_VALUE_DONE;
    }
    switch (bind->c_type) {
        case TVCI_C_BOOL: ToBool(value, bind->value); break;
        case TVCI_C_CHAR: return OutText(bind, value);
        case TVCI_C_TINYINT: ToTinyint(value, bind->value); break;
        case TVCI_C_SMALLINT: ToSmallint(value, bind->value); break;
        case TVCI_C_INT: ToInt(value, bind->value); break;
        case TVCI_C_BIGINT: ToBigint(value, bind->value); break;
        case TVCI_C_FLOAT: ToFloat(value, bind->value); break;
        case TVCI_C_DOUBLE: ToDouble(value, bind->value); break;
        case TVCI_C_NUMERIC: return OutNumeric(bind, value);
        case TVCI_C_DATE: ToDate(value, bind->value); break;
        case TVCI_C_TIME: ToTime(value, bind->value); break;
        case TVCI_C_DATETIME: OutDateTime(bind, value); break;
        case TVCI_C_BINARY: return OutBinary(bind, value);
        case TVCI_C_INTERVAL: ToInterval(value, bind->value); break;
        case TVCI_C_INTERVAL_YM: ToIntervalYm(value, bind->value); break;
        case TVCI_C_INTERVAL_DS: ToIntervalDs(value, bind->value); break;
        case TVCI_C_LOB: OutLob(bind, out); break;
    }
    return TVCI_VALUE_DONE;
}

// The bind of a parameter that takes a value back; NULL where there is no one variable to put it
// in: no such parameter, none bound to it, or an array.
static const BindRecord *FindTarget(const TVCIStmt *stmt, int32_t index) {
    if (index < 0 || index >= stmt->param_count || stmt->params == NULL) return NULL;
    const BindRecord *bind = stmt->params[index].bind;
    return bind == NULL || bind->value == NULL || bind->array_rows > 0 ? NULL : bind;
}

bool ReadOutParameter(TVCIStmt *stmt) {
    Connection *conn = stmt->session->conn;
    uint32_t index;
    uint32_t type;
    uint32_t length;
    if (!ConnReadInt32(conn, &index) || !ConnReadInt32(conn, &type) ||
        !ConnReadInt32(conn, &length)) {
        return false;
    }
    const BindRecord *bind = FindTarget(stmt, (int32_t)index);
    if (bind == NULL) return ConnSkip(conn, (int32_t)length);
    int32_t status = TVCI_VALUE_NULL;
    if ((int32_t)length > 0) {
        OutValue out = {};
        out.value.type = (int32_t)type;
        out.value.length = (int32_t)length;
        if (!ReadValue(conn, &out)) return false;
        status =
            IsTaken(out.value.type, bind->c_type) ? TakeOut(bind, &out) : TVCI_VALUE_NO_CONVERSION;
        MemFree(out.block);
    }
    if (bind->return_code != NULL) *bind->return_code = status;
    return true;
}
