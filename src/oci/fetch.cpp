// Fetch: native rows, one at a time, into element `row` of the application's arrays.
#include <cstring>

#include "oci/handles.h"
#include "oci/lob.h"
#include "oci/stmt.h"
#include "tavu/tvci.h"

constexpr size_t DATE_STRIDE_BYTES = 8;

static void StoreLength(OCIDefine *define, uint32_t row, uint32_t length) {
    if (define->rlenp != NULL) {
        define->rlenp[row] = length;
    }
}

static void StoreIndicator(OCIDefine *define, uint32_t row, uint16_t indicator) {
    if (define->indp != NULL) {
        define->indp[row] = indicator;
    }
}

static uint8_t *Element(OCIDefine *define, uint32_t row, size_t stride) {
    return (uint8_t *)define->valuep + stride * row;
}

// Numbers have no NULL of their own: what the buffer held is copied, and the indicator says 0.
static inline void StoreFixed(OCIDefine *define, uint32_t row, uint32_t bytes) {
    if (define->valuep != NULL) {
        uint8_t *element = Element(define, row, bytes);
        switch (bytes) {
            case 4: memcpy(element, define->value_buffer, 4); break;
            case 8: memcpy(element, define->value_buffer, 8); break;
            default: memcpy(element, define->value_buffer, bytes); break;
        }
    }
    StoreLength(define, row, bytes);
    StoreIndicator(define, row, 0);
}

static void StoreInt(OCIDefine *define, uint32_t row, int32_t *rc) {
    switch (define->value_sz) {
        case 1: StoreFixed(define, row, 1); break;
        case 2: StoreFixed(define, row, 2); break;
        case 4: StoreFixed(define, row, 4); break;
        case 8: StoreFixed(define, row, 8); break;
        default:
            StoreIndicator(define, row, 0);
            *rc = OCI_ERROR;
            break;
    }
}

static void StoreDate(OCIDefine *define, uint32_t row) {
    DateTimeRec date;
    memcpy(&date, define->value_buffer, sizeof date);
    if (define->valuep != NULL) {
        uint8_t *element = Element(define, row, DATE_STRIDE_BYTES);
        int16_t year = (int16_t)date.year;
        memcpy(element, &year, sizeof year);
        element[2] = (uint8_t)date.month;
        element[3] = (uint8_t)date.day;
        element[4] = (uint8_t)date.hour;
        element[5] = (uint8_t)date.minute;
        element[6] = (uint8_t)date.second;
    }
    StoreLength(define, row, DATE_STRIDE_BYTES);
    StoreIndicator(define, row, 0);
}

// A NULL marks element 0, whatever the row.
static void StoreNull(OCIDefine *define) {
    StoreLength(define, 0, 0);
    StoreIndicator(define, 0, (uint16_t)-1);
}

// The string length of the value. The native layer ends nothing: behind a value that was not cut
// the buffer may hold the rest of an older one.
static uint32_t ValueTextBytes(OCIDefine *define) {
    char *text = (char *)define->value_buffer;
    bool whole = define->return_code == TVCI_VALUE_DONE;
    if (whole && define->length >= 0 && define->length <= define->value_sz) {
        text[define->length] = '\0';
    }
    return (uint32_t)strnlen(text, (size_t)define->value_sz);
}

// The indicator of a cut text takes what element 0 holds: the column's size from execute, until row
// 0 has written over it.
static void ReportCut(OCIDefine *define, uint32_t row, OCIError *errhp) {
    ErrorText(errhp, "data truncated.");
    if (define->indp != NULL) {
        define->indp[row] = define->indp[0];
    }
}

static void StoreChar(OCIDefine *define, uint32_t row, OCIError *errhp, int32_t *rc) {
    if (define->length == 0 || define->value_buffer == NULL) {
        StoreNull(define);
        return;
    }
    uint32_t bytes = ValueTextBytes(define);
    if (define->valuep != NULL) {
        memcpy(Element(define, row, (size_t)define->value_sz), define->value_buffer, bytes);
    }
    StoreLength(define, row, bytes);
    if (define->return_code == TVCI_VALUE_TRUNCATED) {
        ReportCut(define, row, errhp);
        *rc = OCI_ERROR;
    } else {
        StoreIndicator(define, row, 0);
    }
}

static void StoreStr(OCIDefine *define, uint32_t row, OCIError *errhp, int32_t *rc) {
    if (define->value_sz == 0) {
        StoreLength(define, 0, 0);
        return;
    }
    if (define->length == 0) {
        if (define->valuep != NULL) {
            *(char *)define->valuep = '\0';
        }
        StoreNull(define);
        return;
    }
    uint32_t text_bytes = ValueTextBytes(define);
    uint32_t bytes_max = (uint32_t)define->value_sz - 1;
    uint32_t bytes = text_bytes < bytes_max ? text_bytes : bytes_max;
    if (define->valuep != NULL) {
        uint8_t *element = Element(define, row, (size_t)define->value_sz);
        memcpy(element, define->value_buffer, bytes);
        element[bytes] = '\0';
    }
    StoreLength(define, row, bytes);
    if (text_bytes > bytes_max) {
        ReportCut(define, row, errhp);
        *rc = OCI_SUCCESS_WITH_INFO;
    } else {
        StoreIndicator(define, row, 0);
    }
}

static void StoreBinary(OCIDefine *define, uint32_t row) {
    if (define->length == 0) {
        StoreNull(define);
        return;
    }
    // The length of a cut value is what was left over.
    int32_t bytes = define->length < define->value_sz ? define->length : define->value_sz;
    if (define->valuep != NULL && bytes > 0) {
        memcpy(Element(define, row, (size_t)define->value_sz), define->value_buffer, (size_t)bytes);
    }
    StoreLength(define, row, (uint32_t)bytes);
    StoreIndicator(define, row, 0);
}

// Copies one column of the row in the private buffers.
static void StoreColumn(OCIDefine *define, uint32_t row, OCIError *errhp, int32_t *rc) {
    if (define->mode == OCI_DYNAMIC_FETCH) {
        *rc = OCI_NEED_DATA;
        return;
    }
    switch (define->dty) {
        case DTY_CHAR: StoreChar(define, row, errhp, rc); break;
        case DTY_INT: StoreInt(define, row, rc); break;
        case DTY_FLOAT: StoreFixed(define, row, sizeof(float)); break;
        case DTY_DOUBLE: StoreFixed(define, row, sizeof(double)); break;
        case DTY_DATE: StoreDate(define, row); break;
        case DTY_STR: StoreStr(define, row, errhp, rc); break;
        case DTY_BIN: StoreBinary(define, row); break;
        default: break;  // the data stay in the locator
    }
}

// The native layer has a status for each value that it moved; the application's return code takes
// the last one.
static void StoreRow(OCIStmt *stmtp, OCIError *errhp, uint32_t row, int32_t *rc) {
    int32_t fetched = *rc;
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        OCIDefine *define = stmtp->defines[i];
        if (define->rcodep != NULL && fetched == TVCI_SUCCESS && define->is_native) {
            *define->rcodep = define->return_code;
        }
        StoreColumn(define, row, errhp, rc);
    }
}

static int32_t FetchRows(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows) {
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        stmtp->defines[i]->piece_done = 0;
    }
    ErrorFromStmt(errhp, stmtp);
    int32_t rc = OCI_ERROR;
    for (uint32_t row = 0; row < nrows; row++) {
        rc = stmtp->had_lobs ? LobsFetch(stmtp) : TVCIFetch(stmtp->native_stmt);
        if (rc == TVCI_NO_DATA) return OCI_NO_DATA;
        stmtp->rows_fetched = row + 1;
        stmtp->rows_total++;
        if (rc == TVCI_ERROR) return ErrorFail(errhp, "Fetch without execution.", OCI_ERROR);
        StoreRow(stmtp, errhp, row, &rc);
    }
    return rc;
}

static bool DynamicLeft(const OCIStmt *stmtp) {
    for (int32_t i = 0; i < stmtp->define_count; i++) {
        const OCIDefine *define = stmtp->defines[i];
        if (define->piece_done == 0 && define->mode == OCI_DYNAMIC_FETCH) return true;
    }
    return false;
}

// A define of size 0 has no bytes to hand over, and stays the one being filled.
static int32_t FetchEmptyPiece(OCIStmt *stmtp, OCIDefine *define) {
    define->piece_done = 1;
    *define->piece_lengthp = 0;
    for (int32_t i = 0; i < stmtp->define_count - 1; i++) {
        if (stmtp->defines[i] == define) return OCI_NEED_DATA;
    }
    return OCI_ERROR;
}

// Hands over the next piece of the row that is already in the buffers.
static int32_t FetchPiece(OCIStmt *stmtp) {
    OCIDefine *define = stmtp->piece_define;
    if (define->value_sz == 0) return FetchEmptyPiece(stmtp, define);
    int64_t size = define->value_sz < 0 ? 0 : define->value_sz;
    int64_t length = define->length < 0 ? 0 : define->length;
    int64_t limit = define->value_buffer == NULL ? 0 : size < length ? size : length;
    int64_t piece_bytes = *define->piece_lengthp;
    if (define->piece_offset + piece_bytes > limit) {
        piece_bytes = limit > define->piece_offset ? limit - define->piece_offset : 0;
        *define->piece_lengthp = (uint32_t)piece_bytes;
    }
    if (piece_bytes != 0) {
        memcpy(define->piece_buffer, (const uint8_t *)define->value_buffer + define->piece_offset,
               (size_t)piece_bytes);
    }
    define->piece_offset += (uint32_t)piece_bytes;
    if (define->piece_offset < limit) return OCI_NEED_DATA;
    define->piece_done = 1;
    define->piece_offset = 0;
    stmtp->piece_define = NULL;
    return DynamicLeft(stmtp) ? OCI_NEED_DATA : OCI_SUCCESS;
}

int32_t OciStmtFetch(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                     uint32_t mode) {
    (void)mode;
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (stmtp == NULL) return ErrorFail(errhp, "Parameter stmtp is NULL.", OCI_INVALID_HANDLE);
    if (orientation != OCI_FETCH_NEXT) {
        return ErrorFail(errhp, "Parameter orientation is invalid.", OCI_ERROR);
    }
    if (stmtp->stmt_class == CLASS_SELECT && stmtp->defined == 0) {
        return ErrorFail(errhp, "No definition before executing.", OCI_ERROR);
    }
    if (stmtp->piece_define != NULL) return FetchPiece(stmtp);
    return FetchRows(stmtp, errhp, nrows);
}

int32_t OciStmtFetch2(OCIStmt *stmtp, OCIError *errhp, uint32_t nrows, uint16_t orientation,
                      int32_t fetchOffset, uint32_t mode) {
    (void)fetchOffset;
    return OciStmtFetch(stmtp, errhp, nrows, orientation, mode);
}
