// Pieces of binds at execute and of dynamic defines.
#include <cstring>

#include "oci/handles.h"
#include "oci/lob.h"
#include "oci/stmt.h"
#include "platform/memory.h"

static int32_t PieceArgumentsCheck(OCIError *errhp, void **hndlpp, const uint32_t *typep,
                                   const uint8_t *in_outp, const uint32_t *iterp,
                                   const uint32_t *idxp, const uint8_t *piecep) {
    if (hndlpp == NULL) return ErrorFail(errhp, "Parameter hndlpp is NULL.", OCI_ERROR);
    if (typep == NULL) return ErrorFail(errhp, "Parameter typep is NULL.", OCI_ERROR);
    if (in_outp == NULL) return ErrorFail(errhp, "Parameter in_outp is NULL.", OCI_ERROR);
    if (iterp == NULL) return ErrorFail(errhp, "Parameter iterp is NULL.", OCI_ERROR);
    if (idxp == NULL) return ErrorFail(errhp, "Parameter idxp is NULL.", OCI_ERROR);
    if (piecep == NULL) return ErrorFail(errhp, "Parameter piecep is NULL.", OCI_ERROR);
    return OCI_SUCCESS;
}

static OCIBind *BindInNeed(const OCIStmt *stmtp) {
    for (int32_t i = 0; i < stmtp->bind_count; i++) {
        OCIBind *bind = stmtp->binds[i];
        if (bind->value_ready == 0 && bind->mode == OCI_DATA_AT_EXEC) return bind;
    }
    return NULL;
}

static OCIDefine *DefineInNeed(const OCIStmt *stmtp) {
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        OCIDefine *define = stmtp->defines[i];
        if (define->piece_done == 0 && define->mode == OCI_DYNAMIC_FETCH) return define;
    }
    return NULL;
}

static uint8_t DefinePiece(const OCIDefine *define) {
    if (define->piece_offset == 0) return OCI_FIRST_PIECE;
    int64_t limit = define->value_sz < define->length ? define->value_sz : define->length;
    int64_t piece_bytes = define->piece_lengthp != NULL ? *define->piece_lengthp : 0;
    return define->piece_offset + piece_bytes >= limit ? OCI_LAST_PIECE : OCI_NEXT_PIECE;
}

int32_t OciStmtGetPieceInfo(OCIStmt *stmtp, OCIError *errhp, void **hndlpp, uint32_t *typep,
                            uint8_t *in_outp, uint32_t *iterp, uint32_t *idxp, uint8_t *piecep) {
    if (stmtp == NULL || errhp == NULL) return OCI_INVALID_HANDLE;
    int32_t result = PieceArgumentsCheck(errhp, hndlpp, typep, in_outp, iterp, idxp, piecep);
    if (result != OCI_SUCCESS) return result;
    OCIBind *bind = BindInNeed(stmtp);
    OCIDefine *define = bind == NULL ? DefineInNeed(stmtp) : NULL;
    if (bind != NULL) {
        *hndlpp = bind;
        *typep = OCI_HTYPE_BIND;
        *in_outp = 1;
        *piecep = bind->piece_length != 0 ? OCI_NEXT_PIECE : OCI_FIRST_PIECE;
    } else if (define != NULL) {
        *hndlpp = define;
        *typep = OCI_HTYPE_DEFINE;
        *in_outp = 2;
        *piecep = DefinePiece(define);
    } else {
        return ErrorFail(errhp, "No piece info.", OCI_ERROR);
    }
    *iterp = 0;
    *idxp = 0;
    return OCI_SUCCESS;
}

// The bytes that the pieces of a bind may fill: its value size, and no more than its buffer has.
static uint32_t PieceRoom(const OCIBind *bind) {
    switch (bind->dty) {
        case DTY_INT: return bind->value_sz < 4 ? bind->value_sz : bind->value_sz == 8 ? 8 : 4;
        case DTY_FLOAT: return 4;
        case DTY_DOUBLE: return 8;
        case DTY_DATE: return sizeof(DateTimeRec);
        default: return bind->value_sz > INT32_MAX ? 0 : bind->value_sz;
    }
}

// Where the pieces of a bind gather; NULL when there is no memory. A large value's do so apart from
// its holder.
static uint8_t *PieceBuffer(OCIBind *bind) {
    if (!IsLobType(bind->dty)) return (uint8_t *)bind->value_buffer;
    if (bind->piece_length == 0) {
        MemFree(bind->pieces);
        bind->pieces = (uint8_t *)MemAlloc((size_t)PieceRoom(bind) + 1);
    }
    return bind->pieces;
}

static bool HasTerminator(uint32_t dty) {
    return dty != DTY_INT && dty != DTY_FLOAT && dty != DTY_DOUBLE && dty != DTY_DATE;
}

static int32_t BindPiece(OCIBind *bind, OCIError *errhp, const void *bufp, uint32_t bytes,
                         uint8_t piece) {
    uint64_t end = (uint64_t)bind->piece_length + bytes;
    if (end > bind->value_sz || end > PieceRoom(bind)) {
        // The text is filed under the statement, where it is not read.
        ErrorText(errhp, "More data was provided than indicated.");
        errhp->source = ERROR_OF_STMT;
        return OCI_ERROR;
    }
    if (bind->value_buffer == NULL) return ErrorFail(errhp, "Invalid parameter.", OCI_ERROR);
    uint8_t *buffer = PieceBuffer(bind);
    if (buffer == NULL) return OCI_ERROR;
    std::memcpy(buffer + bind->piece_length, bufp, bytes);
    bind->piece_length = (uint32_t)end;
    if (HasTerminator(bind->dty)) {
        buffer[end] = '\0';
    }
    if (piece != OCI_LAST_PIECE) return OCI_SUCCESS;
    bind->value_ready = 1;
    if (IsLobType(bind->dty)) {
        TVCILobWrite((LobRecord *)bind->value_buffer, (int32_t)end, buffer);
    }
    return OCI_SUCCESS;
}

int32_t OciStmtSetPieceInfo(void *hndlp, uint32_t type, OCIError *errhp, const void *bufp,
                            uint32_t *alenp, uint8_t piece, const void *indp, void *rcodep) {
    (void)indp;
    (void)rcodep;
    if (hndlp == NULL || errhp == NULL) return OCI_INVALID_HANDLE;
    if (bufp == NULL) return ErrorFail(errhp, "Parameter bufp is NULL.", OCI_ERROR);
    if (alenp == NULL) return ErrorFail(errhp, "Parameter alenp is NULL.", OCI_ERROR);
    if (*alenp == 0) {
        return ErrorFail(errhp, "Parameter alenp must be greater than zero.", OCI_ERROR);
    }
    if (type != OCI_HTYPE_BIND && type != OCI_HTYPE_DEFINE) return OCI_SUCCESS;
    if (*(const uint32_t *)hndlp != type) return OCI_INVALID_HANDLE;
    if (type == OCI_HTYPE_BIND) return BindPiece((OCIBind *)hndlp, errhp, bufp, *alenp, piece);
    OCIDefine *define = (OCIDefine *)hndlp;
    define->piece_lengthp = alenp;
    define->piece_buffer = const_cast<void *>(bufp);
    define->stmt->piece_define = define;
    return OCI_SUCCESS;
}
