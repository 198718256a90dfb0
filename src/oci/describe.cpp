// Descriptors of columns, and the attributes that an application reads.
#include <cstring>

#include "oci/handles.h"
#include "oci/record_links.h"
#include "oci/stmt.h"
#include "platform/memory.h"
#include "tavu/tvci.h"

ColumnHandle *ParamColumn(const OCIParam *param) {
    const TVCIStmt *native = param->stmt != NULL ? StmtNative(param->stmt) : NULL;
    bool live = native != NULL && native->result_generation == param->generation;
    return live ? param->native_column : NULL;
}

void ParamsRelease(OCIStmt *stmtp) {
    OCIParam *newest = stmtp->param;
    if (newest == NULL) return;
    // The application may still hold the older descriptors, and has no call to give them back: they
    // stay with the environment.
    for (OCIParam *param = newest->older; param != NULL;) {
        OCIParam *older = param->older;
        param->stmt = NULL;
        EnvKeepParam(RecordEnv(&stmtp->link), param);
        param = older;
    }
    MemFree(newest);
    stmtp->param = NULL;
}

int32_t OciParamGet(const void *hndlp, uint32_t htype, OCIError *errhp, void **parmdpp,
                    uint32_t pos) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (hndlp == NULL) return ErrorFail(errhp, "Parameter hndlp is NULL.", OCI_INVALID_HANDLE);
    if (parmdpp == NULL) {
        return ErrorFail(errhp, "Parameter parmdpp is NULL.", OCI_INVALID_HANDLE);
    }
    OCIStmt *stmtp = (OCIStmt *)hndlp;
    if (htype != OCI_HTYPE_STMT || stmtp->type != OCI_HTYPE_STMT) return OCI_INVALID_HANDLE;
    OCIParam *param = (OCIParam *)MemAlloc(sizeof(OCIParam));
    if (param == NULL) return OCI_ERROR;
    param->type = OCI_DTYPE_PARAM;
    ErrorFromStmt(errhp, stmtp);
    int32_t result = TVCIParamGet(stmtp->native_stmt, OCI_HTYPE_STMT,
                                  (void **)&param->native_column, (int32_t)pos);
    if (result == TVCI_ERROR || result == TVCI_INVALID_ARGUMENT) {
        MemFree(param);
        return ErrorFail(errhp,
                         result == TVCI_ERROR ? "Statement handle is not executed."
                                              : "There is no descriptor at this position.",
                         OCI_ERROR);
    }
    if (param->native_column != NULL) {
        param->generation = stmtp->native_stmt->result_generation;
    }
    param->stmt = stmtp;
    param->older = stmtp->param;
    stmtp->param = param;
    *parmdpp = param;
    return result;
}

static void StoreSize(uint32_t *sizep, uint32_t size) {
    if (sizep != NULL) {
        *sizep = size;
    }
}

static int32_t PositionGet(uint32_t position, void *attributep, uint32_t attrtype) {
    if (attrtype != OCI_ATTR_HANDLE_POSITION) return OCI_ERROR;
    memcpy(attributep, &position, sizeof position);
    return OCI_SUCCESS;
}

static int32_t SvcAttrGet(const OCISvcCtx *svchp, void *attributep, uint32_t attrtype) {
    const void *value;
    switch (attrtype) {
        case OCI_ATTR_ENV: value = NULL; break;
        case OCI_ATTR_SERVER: value = svchp->server; break;
        case OCI_ATTR_SESSION: value = svchp->session; break;
        default: return OCI_ERROR;
    }
    memcpy(attributep, &value, sizeof value);
    return OCI_SUCCESS;
}

static int32_t SessionAttrGet(const OCISession *usrhp, void *attributep, uint32_t *sizep,
                              uint32_t attrtype) {
    if (attrtype != OCI_ATTR_USERNAME) return OCI_ERROR;
    const char *user = usrhp->user[0] != '\0' ? usrhp->user : NULL;
    memcpy(attributep, &user, sizeof user);
    // A name of 128 bytes has no terminator of its own and runs on into the password behind it.
    const char *record_end = (const char *)&usrhp->logged_on;
    StoreSize(sizep,
              user == NULL ? 0 : (uint32_t)strnlen(user, (size_t)(record_end - usrhp->user)));
    return OCI_SUCCESS;
}

static int32_t StmtTextGet(const OCIStmt *stmtp, void *attributep, uint32_t *sizep) {
    const char *text = stmtp->stmt_class == CLASS_DDL ? stmtp->ddl_text : stmtp->text;
    memcpy(attributep, &text, sizeof text);
    StoreSize(sizep, text == NULL ? 0 : (uint32_t)strlen(text));
    return OCI_SUCCESS;
}

// Every session has rowids returned, so the result has one column more than the select list; the
// correction hangs on the caller's asking for the size.
static int32_t ColumnCountGet(const OCIStmt *stmtp, void *attributep, uint32_t *sizep) {
    int32_t length = 0;
    int32_t result = TVCIGetResultAttr(stmtp->native_stmt, OCI_HTYPE_STMT, attributep, &length,
                                       OCI_ATTR_PARAM_COUNT);
    if (sizep != NULL) {
        uint32_t count;
        memcpy(&count, attributep, sizeof count);
        count--;
        memcpy(attributep, &count, sizeof count);
        *sizep = sizeof count;
    }
    return result;
}

static int32_t StmtAttrGet(const OCIStmt *stmtp, void *attributep, uint32_t *sizep,
                           uint32_t attrtype) {
    int32_t length = 0;
    int32_t result;
    switch (attrtype) {
        case OCI_ATTR_ROW_COUNT:
            memcpy(attributep, &stmtp->rows_total, sizeof stmtp->rows_total);
            return OCI_SUCCESS;
        case OCI_ATTR_ROWS_FETCHED:
            memcpy(attributep, &stmtp->rows_fetched, sizeof stmtp->rows_fetched);
            return OCI_SUCCESS;
        case OCI_ATTR_STATEMENT: return StmtTextGet(stmtp, attributep, sizep);
        case OCI_ATTR_PARAM_COUNT: return ColumnCountGet(stmtp, attributep, sizep);
        default:
            result = TVCIGetResultAttr(stmtp->native_stmt, OCI_HTYPE_STMT, attributep, &length,
                                       (int32_t)attrtype);
            StoreSize(sizep, (uint32_t)length);
            return result;
    }
}

static int32_t ParamAttrGet(OCIParam *param, void *attributep, uint32_t *sizep, uint32_t attrtype) {
    bool into_name = attrtype == OCI_ATTR_NAME || attrtype == OCI_ATTR_TYPE_NAME;
    bool into_word = attrtype == OCI_ATTR_DATA_TYPE;
    int32_t length = 0;
    int32_t word = 0;
    void *target = into_name ? param->name : attributep;
    if (into_word) {
        target = &word;
    }
    int32_t result =
        TVCIGetResultAttr(ParamColumn(param), OCI_DTYPE_PARAM, target, &length, (int32_t)attrtype);
    if (into_name) {
        const char *name = param->name;
        memcpy(attributep, &name, sizeof name);
    }
    if (into_word && result == 0) {
        // The application's variable has 16 bits, where the native word has 32.
        const uint16_t data_type = (uint16_t)word;
        memcpy(attributep, &data_type, sizeof data_type);
    }
    switch (attrtype) {
        case OCI_ATTR_DATA_TYPE: StoreSize(sizep, 2); break;
        case OCI_ATTR_DATA_SIZE: StoreSize(sizep, 4); break;
        default: StoreSize(sizep, (uint32_t)length); break;
    }
    return result;
}

int32_t OciAttrGet(const void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t *sizep,
                   uint32_t attrtype, OCIError *errhp) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (trgthndlp == NULL) {
        return ErrorFail(errhp, "Parameter trgthndlp is NULL.", OCI_INVALID_HANDLE);
    }
    if (attributep == NULL) {
        return ErrorFail(errhp, "Parameter attributep is NULL.", OCI_INVALID_HANDLE);
    }
    bool known = trghndltyp == OCI_HTYPE_DEFINE || trghndltyp == OCI_HTYPE_BIND ||
                 trghndltyp == OCI_HTYPE_SVCCTX || trghndltyp == OCI_HTYPE_SESSION ||
                 trghndltyp == OCI_HTYPE_STMT || trghndltyp == OCI_DTYPE_PARAM ||
                 trghndltyp == OCI_HTYPE_SERVER;
    if (!known) return OCI_ERROR;
    if (*(const uint32_t *)trgthndlp != trghndltyp) return OCI_INVALID_HANDLE;
    switch (trghndltyp) {
        case OCI_HTYPE_DEFINE:
            return PositionGet(((const OCIDefine *)trgthndlp)->position, attributep, attrtype);
        case OCI_HTYPE_BIND:
            return PositionGet(((const OCIBind *)trgthndlp)->position, attributep, attrtype);
        case OCI_HTYPE_SVCCTX:
            return SvcAttrGet((const OCISvcCtx *)trgthndlp, attributep, attrtype);
        case OCI_HTYPE_SESSION:
            return SessionAttrGet((const OCISession *)trgthndlp, attributep, sizep, attrtype);
        case OCI_HTYPE_STMT:
            return StmtAttrGet((const OCIStmt *)trgthndlp, attributep, sizep, attrtype);
        case OCI_DTYPE_PARAM:
            return ParamAttrGet((OCIParam *)trgthndlp, attributep, sizep, attrtype);
        default: return OCI_ERROR;  // a server has no attribute to read
    }
}
