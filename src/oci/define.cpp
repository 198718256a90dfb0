// Defines: the application's arrays for columns, and the private one-element buffers that the
// native fetch fills.
#include <cstring>

#include "oci/handles.h"
#include "oci/record_links.h"
#include "oci/stmt.h"
#include "platform/memory.h"
#include "tavu/tvci.h"
#include "values/bind.h"

// The native layer writes an integer of any odd size at 32 bits.
constexpr size_t INT_BUFFER_BYTES_MIN = 8;

// What an application says about one define.
struct DefineRequest {
    uint32_t position;
    void *valuep;
    int32_t value_sz;
    uint32_t dty;
    uint16_t *indp;
    uint32_t *rlenp;
    int32_t *rcodep;
    uint32_t mode;
};

static int32_t IntDefineCType(int32_t value_sz) {
    switch (value_sz) {
        case 1: return TVCI_C_TINYINT;
        case 2: return TVCI_C_SMALLINT;
        case 8: return TVCI_C_BIGINT;
        default: return TVCI_C_INT;
    }
}

// Bytes of the private buffer; 0 for a type that has none.
static size_t DefineBufferBytes(uint32_t dty, int32_t value_sz) {
    size_t size = value_sz < 0 ? 0 : (size_t)value_sz;
    switch (dty) {
        case DTY_CHAR:
        case DTY_STR: return size == 0 ? 0 : size + 1;
        case DTY_INT: return size < INT_BUFFER_BYTES_MIN ? INT_BUFFER_BYTES_MIN : size;
        case DTY_FLOAT: return sizeof(float);
        case DTY_DOUBLE: return sizeof(double);
        case DTY_DATE: return sizeof(DateTimeRec);
        case DTY_BIN: return size == 0 ? 1 : size;
        default: return 0;
    }
}

static int32_t DefineCType(uint32_t dty, int32_t value_sz) {
    switch (dty) {
        case DTY_INT: return IntDefineCType(value_sz);
        case DTY_STR: return TVCI_C_CHAR;
        case DTY_BLOB: return TVCI_C_LOB;
        case DTY_CLOB: return TVCI_C_LOB;
        case DTY_BIN: return TVCI_C_BINARY;
        default: return (int32_t)dty;
    }
}

static OCIDefine *FindDefine(const OCIStmt *stmtp, uint32_t position) {
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        if (stmtp->defines[i]->position == position) return stmtp->defines[i];
    }
    return NULL;
}

void DefineDropBuffer(OCIDefine *define) {
    NameClear(&define->locator_name);
    TVCIStmt *native = StmtNative(define->stmt);
    if (native != NULL) {
        DefineForget(native, (int32_t)define->position - 1);
    }
    if (!IsLobType(define->dty)) {
        MemFree(define->value_buffer);
    }
    define->value_buffer = NULL;
    define->is_native = 0;
}

// The parameters of a write-back stay bound to its locators.
static void ForgetWritten(OCIDefine *define) {
    const OCILobLocator *locator = (const OCILobLocator *)NameRecord(&define->written_name);
    if (locator != NULL) {
        StmtForgetBuffer(define->stmt, locator->native_lob);
    }
    NameClear(&define->written_name);
}

void OciDefinesFree(OCIStmt *stmtp) {
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        DefineDropBuffer(stmtp->defines[i]);
        ForgetWritten(stmtp->defines[i]);
        MemFree(stmtp->defines[i]);
    }
    MemFree(stmtp->defines);
    stmtp->defines = NULL;
    stmtp->define_count = 0;
    stmtp->piece_define = NULL;
}

static OCIDefine *AppendDefine(OCIStmt *stmtp) {
    OCIDefine *define = (OCIDefine *)MemAlloc(sizeof(OCIDefine));
    if (define == NULL) return NULL;
    size_t bytes = ((size_t)stmtp->define_count + 1) * sizeof(OCIDefine *);
    OCIDefine **grown = (OCIDefine **)MemRealloc(stmtp->defines, bytes);
    if (grown == NULL) {
        MemFree(define);
        return NULL;
    }
    define->stmt = stmtp;
    grown[stmtp->define_count] = define;
    stmtp->defines = grown;
    stmtp->define_count++;
    return define;
}

static void FillDefine(OCIDefine *define, const DefineRequest *request, void *buffer) {
    define->type = OCI_HTYPE_DEFINE;
    define->position = request->position;
    define->valuep = request->valuep;
    define->value_buffer = buffer;
    define->dty = request->dty;
    define->value_sz = request->value_sz;
    define->indp = request->indp;
    define->length = 0;
    define->return_code = TVCI_VALUE_DONE;
    define->rlenp = request->rlenp;
    define->rcodep = request->rcodep;
    define->mode = request->mode;
    define->lob_bind_position = 0;
    define->piece_offset = 0;
    define->piece_done = request->mode != OCI_DYNAMIC_FETCH;
    if (IsLobType(request->dty)) {
        NameLocator(&define->locator_name, FirstLocator(request->valuep), define->stmt);
        define->stmt->had_lobs = 1;
    }
}

// Gives the private buffer to the native layer. A define that was made before the first prepare is
// never seen by it.
static int32_t NativeDefine(OCIDefine *define, OCIError *errhp) {
    OCIStmt *stmtp = define->stmt;
    if (stmtp->prepared == 0) return OCI_SUCCESS;
    int32_t c_type = DefineCType(define->dty, define->value_sz);
    if (define->value_sz > 0 || c_type == TVCI_C_LOB) {
        int32_t result =
            TVCIDefineColumn(stmtp->native_stmt, (int32_t)define->position, define->value_buffer,
                             define->value_sz, c_type, &define->return_code, &define->length);
        if (result == TVCI_INVALID_ARGUMENT) {
            return ErrorFail(errhp, "Invalid parameter.", OCI_ERROR);
        }
        if (result != TVCI_SUCCESS) return result;
        define->is_native = 1;
    }
    stmtp->defined = 1;
    return OCI_SUCCESS;
}

// Makes the private buffer of a define, or finds the native LOB that serves as one; NULL in
// `*buffer` for a type or a size that has none.
static int32_t NewBuffer(const DefineRequest *request, OCIError *errhp, void **buffer) {
    *buffer = NULL;
    if (IsLobType(request->dty)) {
        OCILobLocator *locator = FirstLocator(request->valuep);
        if (locator == NULL) return ErrorFail(errhp, "Invalid parameter.", OCI_ERROR);
        *buffer = locator->native_lob;
        return OCI_SUCCESS;
    }
    size_t buffer_bytes = DefineBufferBytes(request->dty, request->value_sz);
    if (buffer_bytes == 0) return OCI_SUCCESS;
    *buffer = MemAlloc(buffer_bytes);
    return *buffer == NULL ? OCI_ERROR : OCI_SUCCESS;
}

// A column that is defined again keeps its record, and `*defnpp` what the caller left in it.
static int32_t Define(OCIStmt *stmtp, OCIDefine **defnpp, OCIError *errhp,
                      const DefineRequest *request) {
    void *buffer;
    int32_t result = NewBuffer(request, errhp, &buffer);
    if (result != OCI_SUCCESS) return result;
    OCIDefine *define = FindDefine(stmtp, request->position);
    if (define != NULL) {
        DefineDropBuffer(define);
    } else {
        define = AppendDefine(stmtp);
        if (define == NULL) {
            if (!IsLobType(request->dty)) {
                MemFree(buffer);
            }
            return OCI_ERROR;
        }
        *defnpp = define;
    }
    FillDefine(define, request, buffer);
    return NativeDefine(define, errhp);
}

int32_t OciDefineByPos(OCIStmt *stmtp, OCIDefine **defnpp, OCIError *errhp, uint32_t position,
                       void *valuep, int32_t value_sz, uint16_t dty, void *indp, uint32_t *rlenp,
                       int32_t *rcodep, uint32_t mode) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (stmtp == NULL) return ErrorFail(errhp, "Parameter stmtp is NULL.", OCI_INVALID_HANDLE);
    if (defnpp == NULL) return ErrorFail(errhp, "Parameter defnp is NULL.", OCI_INVALID_HANDLE);
    if (position == 0) return ErrorFail(errhp, "Parameter position is invalid.", OCI_ERROR);
    if (value_sz < 0 && !IsLobType(dty)) {
        return ErrorFail(errhp, "Parameter value_sz is invalid.", OCI_ERROR);
    }
    ErrorFromStmt(errhp, stmtp);
    DefineRequest request = {position,         valuep, value_sz, dty,
                             (uint16_t *)indp, rlenp,  rcodep,   mode};
    return Define(stmtp, defnpp, errhp, &request);
}
