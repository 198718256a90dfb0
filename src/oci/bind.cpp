// Binds: the application's arrays and the private one-element buffers that the native layer reads.
#include <cstring>

#include "oci/handles.h"
#include "oci/record_links.h"
#include "oci/stmt.h"
#include "platform/memory.h"
#include "tavu/tvci.h"
#include "values/bind.h"

// The direction that this layer binds with.
constexpr int32_t BIND_INPUT = 1;
// An indicator of 0: the value as it is.
constexpr int32_t LENGTH_AS_IT_IS = 0x7fffffff;
// No private buffer is smaller: the native layer may read a value at the full width of its type.
constexpr size_t VALUE_BUFFER_BYTES_MIN = 8;
constexpr size_t DATE_STRIDE_BYTES = 8;

enum BindKind { BIND_BY_POSITION = 1, BIND_BY_NAME = 2 };

// What an application says about one bind.
struct BindRequest {
    BindKind kind;
    uint32_t position;
    const char *placeholder;
    void *valuep;
    int32_t value_sz;
    uint32_t dty;
    int16_t *indp;
    int32_t *rcodep;
    uint32_t mode;
};

bool IsLobType(uint32_t dty) {
    return dty == DTY_BLOB || dty == DTY_CLOB;
}

static int32_t IntSqlType(int64_t value_sz) {
    switch (value_sz) {
        case 1: return 2;
        case 2: return 3;
        case 8: return 5;
        default: return 4;
    }
}

int32_t BindSqlType(uint32_t dty, int64_t value_sz) {
    switch (dty) {
        case DTY_CHAR: return 12;
        case DTY_INT: return IntSqlType(value_sz);
        case DTY_FLOAT: return 6;
        case DTY_DOUBLE: return 7;
        case DTY_NUMERIC: return 8;
        case DTY_DATE: return 11;
        case DTY_STR: return 12;
        case DTY_BLOB: return 16;
        case DTY_CLOB: return 14;
        case DTY_BIN: return 13;
        case DTY_BIN_2: return 13;
        case DTY_LONG_STR: return 12;
        default: return 0;
    }
}

// The integer of size 2 is declared as 16 bits and read as 32.
static int32_t IntBindCType(int64_t value_sz) {
    switch (value_sz) {
        case 1: return TVCI_C_TINYINT;
        case 8: return TVCI_C_BIGINT;
        default: return TVCI_C_INT;
    }
}

static int32_t BindCType(uint32_t dty, int64_t value_sz) {
    switch (dty) {
        case DTY_INT: return IntBindCType(value_sz);
        case DTY_STR: return TVCI_C_CHAR;
        case DTY_BLOB: return TVCI_C_LOB;
        case DTY_CLOB: return TVCI_C_LOB;
        case DTY_BIN: return TVCI_C_BINARY;
        case DTY_BIN_2: return TVCI_C_BINARY;
        case DTY_LONG_STR: return TVCI_C_CHAR;
        default: return (int32_t)dty;
    }
}

static size_t BindBufferBytes(uint32_t dty, int32_t value_sz) {
    size_t bytes;
    switch (dty) {
        case DTY_INT: bytes = VALUE_BUFFER_BYTES_MIN; break;
        case DTY_FLOAT: bytes = sizeof(float); break;
        case DTY_DOUBLE: bytes = sizeof(double); break;
        case DTY_DATE: bytes = sizeof(DateTimeRec); break;
        default: bytes = value_sz < 0 ? 0 : (size_t)value_sz + 1; break;
    }
    return bytes < VALUE_BUFFER_BYTES_MIN ? VALUE_BUFFER_BYTES_MIN : bytes;
}

// A position of 0 names nothing: binds by name have it too.
static bool IsBindOf(const OCIBind *bind, const BindRequest *request) {
    if (request->kind == BIND_BY_POSITION) {
        return request->position != 0 && bind->position == request->position;
    }
    return bind->name != NULL && request->placeholder != NULL &&
           strcmp(bind->name, request->placeholder) == 0;
}

static OCIBind *FindBind(const OCIStmt *stmtp, const BindRequest *request) {
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        if (IsBindOf(stmtp->binds[i], request)) return stmtp->binds[i];
    }
    return NULL;
}

OCILobLocator *FirstLocator(void *valuep) {
    return valuep == NULL ? NULL : *(OCILobLocator **)valuep;
}

static bool IsValueBuffer(const OCIStmt *stmtp, const void *buffer) {
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        if (stmtp->binds[i]->value_buffer == buffer) return true;
    }
    return false;
}

static void NativeForgetBind(const OCIStmt *stmtp, const void *buffer) {
    TVCIStmt *native = StmtNative(stmtp);
    if (native != NULL) {
        BindForget(native, buffer);
    }
}

void StmtForgetBuffer(const OCIStmt *stmtp, const void *buffer) {
    if (!IsValueBuffer(stmtp, buffer)) {
        NativeForgetBind(stmtp, buffer);
    }
}

// Lets the native layer forget the bind's buffer, and frees it unless a locator owns it. A locator
// may serve several binds; the native layer keeps it until the last of them goes.
static void DropBuffer(OCIBind *bind) {
    NameClear(&bind->locator_name);
    MemFree(bind->pieces);
    bind->pieces = NULL;
    void *buffer = bind->value_buffer;
    if (buffer == NULL) return;
    bind->value_buffer = NULL;
    StmtForgetBuffer(bind->stmt, buffer);
    if (!IsLobType(bind->dty)) {
        MemFree(buffer);
    }
}

static void FreeBind(OCIBind *bind) {
    DropBuffer(bind);
    MemFree(bind->name);
    MemFree(bind);
}

void OciBindsFree(OCIStmt *stmtp) {
    // All buffers go before any record: dropping one looks at the other binds.
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        DropBuffer(stmtp->binds[i]);
    }
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        FreeBind(stmtp->binds[i]);
    }
    MemFree(stmtp->binds);
    stmtp->binds = NULL;
    stmtp->bind_count = 0;
}

static OCIBind *NewBind(OCIStmt *stmtp, const BindRequest *request) {
    OCIBind *bind = (OCIBind *)MemAlloc(sizeof(OCIBind));
    if (bind == NULL) return NULL;
    bind->stmt = stmtp;
    if (request->kind == BIND_BY_NAME && request->placeholder != NULL) {
        bind->name = MemCopyText(request->placeholder);
        if (bind->name == NULL) {
            MemFree(bind);
            return NULL;
        }
    }
    return bind;
}

static void FillBind(OCIBind *bind, const BindRequest *request, void *buffer) {
    if (request->kind == BIND_BY_POSITION) {
        bind->position = request->position;
    }
    bind->type = OCI_HTYPE_BIND;
    bind->valuep = request->valuep;
    bind->indp = request->indp;
    bind->piece_length = 0;
    bind->value_sz = (uint32_t)request->value_sz;
    bind->dty = request->dty;
    bind->mode = (uint8_t)request->mode;
    bind->actual_length = request->value_sz;
    bind->value_ready = request->mode != OCI_DATA_AT_EXEC;
    bind->value_buffer = buffer;
    if (IsLobType(request->dty)) {
        NameLocator(&bind->locator_name, FirstLocator(request->valuep), bind->stmt);
    }
}

static bool AppendBind(OCIStmt *stmtp, OCIBind *bind) {
    size_t bytes = ((size_t)stmtp->bind_count + 1) * sizeof(OCIBind *);
    OCIBind **grown = (OCIBind **)MemRealloc(stmtp->binds, bytes);
    if (grown == NULL) return false;
    grown[stmtp->bind_count] = bind;
    stmtp->binds = grown;
    stmtp->bind_count++;
    return true;
}

static int32_t NativeBind(OCIBind *bind, const BindRequest *request, OCIError *errhp) {
    int32_t sql_type = BindSqlType(request->dty, request->value_sz);
    int32_t c_type = BindCType(request->dty, request->value_sz);
    TVCIStmt *native = bind->stmt->native_stmt;
    int32_t result;
    if (request->kind == BIND_BY_NAME) {
        const char *name = request->placeholder;
        if (name != NULL && name[0] == ':') {
            name++;
        }
        result =
            TVCIBindParamByName(native, name, BIND_INPUT, bind->value_buffer, request->value_sz,
                                c_type, request->rcodep, &bind->actual_length, sql_type);
        if (result == TVCI_ERROR) {
            return ErrorFail(errhp, "Placeholder does not exist.", OCI_ERROR);
        }
    } else {
        result = TVCIBindParam(native, (int32_t)request->position, BIND_INPUT, bind->value_buffer,
                               request->value_sz, c_type, request->rcodep, &bind->actual_length,
                               sql_type);
    }
    switch (result) {
        case TVCI_INVALID_POSITION:
            return ErrorFail(errhp, "Parameter position is invalid.", OCI_ERROR);
        case TVCI_INVALID_ARGUMENT: return ErrorFail(errhp, "Invalid parameter.", OCI_ERROR);
        case TVCI_SUCCESS: ErrorClear(errhp); return result;
        default: return result;
    }
}

// Makes the private buffer of a bind, or finds the native LOB that serves as one.
static int32_t NewBuffer(const BindRequest *request, OCIError *errhp, void **buffer) {
    if (IsLobType(request->dty)) {
        OCILobLocator *locator = FirstLocator(request->valuep);
        if (locator == NULL) return ErrorFail(errhp, "Invalid parameter.", OCI_ERROR);
        *buffer = locator->native_lob;
        return OCI_SUCCESS;
    }
    *buffer = MemAlloc(BindBufferBytes(request->dty, request->value_sz));
    return *buffer == NULL ? OCI_ERROR : OCI_SUCCESS;
}

// The record of a bind: the one that has its position or name, without its buffer, or a new one.
static OCIBind *BindRecordFor(OCIStmt *stmtp, OCIBind **bindpp, const BindRequest *request) {
    OCIBind *bind = FindBind(stmtp, request);
    if (bind != NULL) {
        DropBuffer(bind);
        return bind;
    }
    bind = NewBind(stmtp, request);
    if (bind != NULL && !AppendBind(stmtp, bind)) {
        FreeBind(bind);
        *bindpp = NULL;
        return NULL;
    }
    return bind;
}

static int32_t CheckRequest(const OCIStmt *stmtp, OCIBind *const *bindpp, OCIError *errhp,
                            const BindRequest *request) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (stmtp == NULL) return ErrorFail(errhp, "Parameter stmtp is NULL.", OCI_INVALID_HANDLE);
    if (bindpp == NULL) return ErrorFail(errhp, "Parameter bindp is NULL.", OCI_INVALID_HANDLE);
    if (stmtp->prepared == 0) {
        return ErrorFail(errhp, "Invalid placeholder/position.", OCI_ERROR);
    }
    bool at_exec = request->mode == OCI_DATA_AT_EXEC;
    if (request->valuep == NULL && !at_exec) {
        return ErrorFail(errhp, "Parameter valuep is NULL.", OCI_INVALID_HANDLE);
    }
    bool has_pieces =
        request->dty == DTY_CHAR || request->dty == DTY_STR || IsLobType(request->dty);
    if (at_exec && !has_pieces) {
        return ErrorFail(errhp, "The data type provided is not supported.", OCI_ERROR);
    }
    return OCI_SUCCESS;
}

static int32_t Bind(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, const BindRequest *request) {
    int32_t result = CheckRequest(stmtp, bindpp, errhp, request);
    if (result != OCI_SUCCESS) return result;
    void *buffer = NULL;
    result = NewBuffer(request, errhp, &buffer);
    if (result != OCI_SUCCESS) return result;
    OCIBind *bind = BindRecordFor(stmtp, bindpp, request);
    if (bind == NULL) {
        if (!IsLobType(request->dty)) {
            MemFree(buffer);
        }
        return OCI_ERROR;
    }
    FillBind(bind, request, buffer);
    *bindpp = bind;
    return NativeBind(bind, request, errhp);
}

int32_t OciBindByPos(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, uint32_t position,
                     void *valuep, int32_t value_sz, uint16_t dty, void *indp, void *alenp,
                     int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep, uint32_t mode) {
    (void)alenp;
    (void)maxarr_len;
    (void)curelep;
    BindRequest request = {BIND_BY_POSITION, position, NULL, valuep, value_sz, dty,
                           (int16_t *)indp,  rcodep,   mode};
    return Bind(stmtp, bindpp, errhp, &request);
}

int32_t OciBindByName(OCIStmt *stmtp, OCIBind **bindpp, OCIError *errhp, const OCIText *placeholder,
                      int32_t placeh_len, void *valuep, int32_t value_sz, uint16_t dty, void *indp,
                      void *alenp, int32_t *rcodep, uint32_t maxarr_len, uint32_t *curelep,
                      uint32_t mode) {
    (void)placeh_len;
    (void)alenp;
    (void)maxarr_len;
    (void)curelep;
    BindRequest request = {BIND_BY_NAME,    0,        (const char *)placeholder,
                           valuep,          value_sz, dty,
                           (int16_t *)indp, rcodep,   mode};
    return Bind(stmtp, bindpp, errhp, &request);
}

static void LoadInt(OCIBind *bind, uint32_t iteration) {
    switch (bind->value_sz) {
        case 1:
            memcpy(bind->value_buffer, (const uint8_t *)bind->valuep + iteration, 1);
            bind->actual_length = 1;
            break;
        case 2:
            memcpy(bind->value_buffer, (const uint16_t *)bind->valuep + iteration, 2);
            bind->actual_length = 2;
            break;
        case 8: {
            // An array for 64-bit values is one of 32-bit integers: stride and width are 4.
            int32_t narrow;
            memcpy(&narrow, (const int32_t *)bind->valuep + iteration, sizeof narrow);
            int64_t wide = narrow;
            memcpy(bind->value_buffer, &wide, sizeof wide);
            bind->actual_length = 8;
            break;
        }
        default:
            memcpy(bind->value_buffer, (const int32_t *)bind->valuep + iteration, 4);
            bind->actual_length = 4;
            break;
    }
}

static void LoadDate(OCIBind *bind, uint32_t iteration) {
    const uint8_t *element = (const uint8_t *)bind->valuep + DATE_STRIDE_BYTES * iteration;
    int16_t year;
    memcpy(&year, element, sizeof year);
    DateTimeRec date = {year, element[2], element[3], element[4], element[5], element[6], 0};
    memcpy(bind->value_buffer, &date, sizeof date);
    bind->actual_length = 8;
}

// A text ends at its NUL or at the element's end. What an earlier, longer text left behind the new
// one stays in the buffer, and goes out when an indicator asks for the whole element.
static void LoadText(OCIBind *bind, uint32_t iteration) {
    size_t element_bytes = (int32_t)bind->value_sz < 0 ? 0 : bind->value_sz;
    const char *element = (const char *)bind->valuep + element_bytes * iteration;
    size_t text_bytes = strnlen(element, element_bytes);
    memcpy(bind->value_buffer, element, text_bytes);
    ((char *)bind->value_buffer)[text_bytes] = '\0';
    bind->actual_length = (int32_t)text_bytes;
}

static void LoadLob(OCIBind *bind, uint32_t iteration) {
    const OCILobLocator *locator = ((OCILobLocator *const *)bind->valuep)[iteration];
    bind->actual_length = locator == NULL ? 0 : (int32_t)locator->length;
}

static void LoadValue(OCIBind *bind, uint32_t iteration) {
    switch (bind->dty) {
        case DTY_BLOB:
        case DTY_CLOB: LoadLob(bind, iteration); break;
        case DTY_INT: LoadInt(bind, iteration); break;
        case DTY_FLOAT:
            memcpy(bind->value_buffer, (const float *)bind->valuep + iteration, 4);
            bind->actual_length = 4;
            break;
        case DTY_DOUBLE:
            memcpy(bind->value_buffer, (const double *)bind->valuep + iteration, 8);
            bind->actual_length = 8;
            break;
        case DTY_DATE: LoadDate(bind, iteration); break;
        case DTY_CHAR:
        case DTY_STR:
        case DTY_BIN:
        case DTY_BIN_2:
        case DTY_LONG_STR: LoadText(bind, iteration); break;
        default: break;
    }
}

// -1 is NULL, 0 the value as it is, anything else the length.
static void LoadIndicator(OCIBind *bind, uint32_t iteration) {
    int16_t indicator = bind->indp[iteration];
    switch (indicator) {
        case -1: bind->actual_length = 0; break;
        case 0: bind->actual_length = LENGTH_AS_IT_IS; break;
        default: bind->actual_length = indicator; break;
    }
}

void BindsLoad(OCIStmt *stmtp, uint32_t iteration) {
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        OCIBind *bind = stmtp->binds[i];
        if (bind->mode == OCI_DATA_AT_EXEC || bind->value_buffer == NULL) continue;
        LoadValue(bind, iteration);
        if (bind->indp != NULL) {
            LoadIndicator(bind, iteration);
        }
    }
}

void StmtForgetLob(OCIStmt *stmtp, const LobRecord *lob) {
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        OCIBind *bind = stmtp->binds[i];
        if (bind->value_buffer != lob) continue;
        bind->value_buffer = NULL;
        bind->actual_length = 0;
    }
    NativeForgetBind(stmtp, lob);
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        if (stmtp->defines[i]->value_buffer == lob) {
            DefineDropBuffer(stmtp->defines[i]);
        }
    }
}
