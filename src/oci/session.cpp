// Session and service context attributes, session begin and end, logon and logoff, server version.
#include "oci/session.h"

#include <cstring>

#include "oci/handles.h"
#include "oci/record_links.h"
#include "oci/trans.h"

constexpr uint32_t ATTR_ENV_VERSION = 1;

static int32_t SvcCtxAttrSet(OCISvcCtx *svchp, void *attributep, uint32_t attrtype,
                             OCIError *errhp) {
    if (svchp->type != OCI_HTYPE_SVCCTX) return OCI_INVALID_HANDLE;
    switch (attrtype) {
        case OCI_ATTR_SERVER:
            svchp->server = (OCIServer *)attributep;
            NameFind(&svchp->server_name, attributep, OCI_HTYPE_SERVER);
            return OCI_SUCCESS;
        case OCI_ATTR_SESSION:
            svchp->session = (OCISession *)attributep;
            NameFind(&svchp->session_name, attributep, OCI_HTYPE_SESSION);
            return OCI_SUCCESS;
        case OCI_ATTR_CHARSET_CODE:
            svchp->charset = (uint32_t)(uintptr_t)attributep;
            return OCI_SUCCESS;
        default: return ErrorFail(errhp, "Invalid attr type.", OCI_ERROR);
    }
}

// Copies into a field of CONTEXT_TEXT_BYTES. A text that fills it has its terminator in the byte
// behind, which belongs to the next field of the record.
static void ContextTextSet(char *field, uint8_t *behind, const void *text, size_t bytes) {
    if (bytes > 0) {
        std::memcpy(field, text, bytes);
    }
    if (bytes < CONTEXT_TEXT_BYTES) {
        field[bytes] = '\0';
    } else {
        *behind = 0;
    }
}

static int32_t SessionAttrSet(OCISession *session, const void *attributep, uint32_t size,
                              uint32_t attrtype, OCIError *errhp) {
    if (session->type != OCI_HTYPE_SESSION) return OCI_INVALID_HANDLE;
    size_t bytes = size;
    if (attrtype == OCI_ATTR_PASSWORD && size == 0 && attributep != NULL) {
        bytes = strnlen((const char *)attributep, CONTEXT_TEXT_BYTES + 1);
    }
    if (bytes > CONTEXT_TEXT_BYTES) return ErrorFail(errhp, "Invalid size value.", OCI_ERROR);
    if (attrtype != OCI_ATTR_USERNAME && attrtype != OCI_ATTR_PASSWORD) {
        return ErrorFail(errhp, "Invalid attr type.", OCI_ERROR);
    }
    if (attributep == NULL && bytes > 0) {
        return ErrorFail(errhp, "Invalid size value.", OCI_ERROR);
    }
    if (attrtype == OCI_ATTR_USERNAME) {
        ContextTextSet(session->user, (uint8_t *)&session->password[0], attributep, bytes);
    } else {
        ContextTextSet(session->password, &session->logged_on, attributep, bytes);
    }
    return OCI_SUCCESS;
}

int32_t OciAttrSet(void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t size,
                   uint32_t attrtype, OCIError *errhp) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (trgthndlp == NULL) {
        return ErrorFail(errhp, "Parameter trgthndlp is NULL.", OCI_INVALID_HANDLE);
    }
    switch (trghndltyp) {
        case OCI_HTYPE_SVCCTX:
            return SvcCtxAttrSet((OCISvcCtx *)trgthndlp, attributep, attrtype, errhp);
        case OCI_HTYPE_SESSION:
            return SessionAttrSet((OCISession *)trgthndlp, attributep, size, attrtype, errhp);
        default: return ErrorFail(errhp, "Invalid handle type.", OCI_INVALID_HANDLE);
    }
}

// Reads a field that may have no terminator of its own. The native session keeps less of a text
// than the field holds, so what stands behind the field never counts.
static void ContextTextGet(const char field[CONTEXT_TEXT_BYTES],
                           char text[CONTEXT_TEXT_BYTES + 1]) {
    size_t bytes = strnlen(field, CONTEXT_TEXT_BYTES);
    std::memcpy(text, field, bytes);
    text[bytes] = '\0';
}

int32_t OciSessionBegin(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t credt,
                        uint32_t mode) {
    (void)credt;
    (void)mode;
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (svchp == NULL) return ErrorFail(errhp, "Parameter svchp is NULL.", OCI_INVALID_HANDLE);
    if (usrhp == NULL) return ErrorFail(errhp, "Parameter usrhp is NULL.", OCI_INVALID_HANDLE);
    ErrorFromSession(errhp, usrhp);
    const uint32_t version = 1;
    const OCIEnv *env = RecordEnv(&svchp->link);
    TVCIAttrSet(env != NULL ? env->native_env : NULL, ATTR_ENV_VERSION, &version, 1);
    char user[CONTEXT_TEXT_BYTES + 1];
    char password[CONTEXT_TEXT_BYTES + 1];
    ContextTextGet(usrhp->user, user);
    ContextTextGet(usrhp->password, password);
    int32_t result = TVCIConnect(usrhp->native_session, user, password);
    if (result != 0) {
        char message[ERROR_TEXT_BYTES] = {};
        NativeErrorText(usrhp->native_session, message);
        return ErrorFail(errhp, message, result);
    }
    usrhp->logged_on = 1;
    return OCI_SUCCESS;
}

int32_t OciSessionEnd(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t mode) {
    (void)mode;
    if (errhp == NULL || svchp == NULL) return OCI_INVALID_HANDLE;
    if (usrhp == NULL) return ErrorFail(errhp, "Parameter usrhp is NULL.", OCI_INVALID_HANDLE);
    if (usrhp->logged_on == 0) return OCI_SUCCESS;
    usrhp->logged_on = 0;
    ErrorFromSession(errhp, usrhp);
    OciTransCommit(svchp, errhp, 0);
    return TVCIDisconnect(usrhp->native_session);
}

// Copies one text of a logon. False for one that does not fit, counted or not.
static bool LogonTextCopy(char target[CONTEXT_TEXT_BYTES], const OCIText *text, uint32_t bytes) {
    size_t used = bytes != 0 ? bytes : strnlen((const char *)text, CONTEXT_TEXT_BYTES);
    if (used >= CONTEXT_TEXT_BYTES) return false;
    std::memcpy(target, text, used);
    target[used] = '\0';
    return true;
}

// Allocates through the call interface; NULL when that fails, whatever it left in its slot.
static void *LogonAlloc(OCIEnv *envhp, uint32_t type) {
    void *record = NULL;
    return OciHandleAlloc(envhp, &record, type, 0, NULL) == 0 ? record : NULL;
}

// What follows once the texts are in hand.
static int32_t LogonRun(OCIEnv *envhp, OCIError *errhp, OCISvcCtx **svchp, char *user,
                        uint32_t uname_len, char *password, uint32_t passwd_len, const char *db) {
    OCIServer *server = (OCIServer *)LogonAlloc(envhp, OCI_HTYPE_SERVER);
    OCISvcCtx *svcctx = (OCISvcCtx *)LogonAlloc(envhp, OCI_HTYPE_SVCCTX);
    *svchp = svcctx;
    if (OciServerAttach(server, errhp, (const OCIText *)db, (int32_t)std::strlen(db), 0) != 0) {
        OciHandleFree(server, OCI_HTYPE_SERVER);
        return OCI_ERROR;
    }
    OciAttrSet(svcctx, OCI_HTYPE_SVCCTX, server, 0, OCI_ATTR_SERVER, errhp);
    OCISession *session = (OCISession *)LogonAlloc(envhp, OCI_HTYPE_SESSION);
    // The caller's lengths, not those of the texts: a user name of length 0 is the empty name.
    OciAttrSet(session, OCI_HTYPE_SESSION, user, uname_len, OCI_ATTR_USERNAME, errhp);
    OciAttrSet(session, OCI_HTYPE_SESSION, password, passwd_len, OCI_ATTR_PASSWORD, errhp);
    if (OciSessionBegin(svcctx, errhp, session, 1, 0) != 0) {
        OciHandleFree(session, OCI_HTYPE_SESSION);
        OciHandleFree(server, OCI_HTYPE_SERVER);
        if (svcctx != NULL) {
            svcctx->server = NULL;
        }
        return OCI_ERROR;
    }
    OciAttrSet(svcctx, OCI_HTYPE_SVCCTX, session, 0, OCI_ATTR_SESSION, errhp);
    return OCI_SUCCESS;
}

int32_t OciLogon(OCIEnv *envhp, OCIError *errhp, OCISvcCtx **svchp, const OCIText *username,
                 uint32_t uname_len, const OCIText *password, uint32_t passwd_len,
                 const OCIText *dbname, uint32_t dbname_len) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (envhp == NULL) return ErrorFail(errhp, "Parameter envhp is NULL.", OCI_INVALID_HANDLE);
    if (svchp == NULL) return ErrorFail(errhp, "Parameter svchp is NULL.", OCI_INVALID_HANDLE);
    if (username == NULL) return ErrorFail(errhp, "Parameter username is NULL.", OCI_ERROR);
    if (password == NULL) return ErrorFail(errhp, "Parameter password is NULL.", OCI_ERROR);
    if (dbname == NULL) {
        dbname = (const OCIText *)"127.0.0.1:5138/SYSTEM";
    }
    char user[CONTEXT_TEXT_BYTES];
    char pwd[CONTEXT_TEXT_BYTES];
    char db[CONTEXT_TEXT_BYTES];
    if (!LogonTextCopy(user, username, uname_len)) {
        return ErrorFail(errhp, "Parameter uname_len is invalid.", OCI_ERROR);
    }
    if (!LogonTextCopy(pwd, password, passwd_len)) {
        return ErrorFail(errhp, "Parameter passwd_len is invalid.", OCI_ERROR);
    }
    if (!LogonTextCopy(db, dbname, dbname_len)) {
        return ErrorFail(errhp, "Parameter dbname_len is invalid.", OCI_ERROR);
    }
    return LogonRun(envhp, errhp, svchp, user, uname_len, pwd, passwd_len, db);
}

int32_t OciLogoff(OCISvcCtx *svchp, OCIError *errhp) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (svchp == NULL) return ErrorFail(errhp, "Parameter svchp is NULL.", OCI_INVALID_HANDLE);
    if (svchp->type != OCI_HTYPE_SVCCTX) return OCI_INVALID_HANDLE;
    OCISession *session = SvcSession(svchp);
    OciSessionEnd(svchp, errhp, session, 0);
    OciHandleFree(session, OCI_HTYPE_SESSION);
    OciHandleFree(NameRecord(&svchp->server_name), OCI_HTYPE_SERVER);
    OciHandleFree(svchp, OCI_HTYPE_SVCCTX);
    return OCI_SUCCESS;
}

int32_t OciServerVersion(void *hndlp, OCIError *errhp, OCIText *bufp, uint32_t bufsz,
                         uint8_t hndltype) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (hndlp == NULL) return ErrorFail(errhp, "Parameter hndlp is NULL.", OCI_INVALID_HANDLE);
    if (bufp == NULL) return ErrorFail(errhp, "Parameter bufp is NULL.", OCI_INVALID_HANDLE);
    if (hndltype != OCI_HTYPE_SVCCTX || *(const uint32_t *)hndlp != OCI_HTYPE_SVCCTX) {
        return ErrorFail(errhp, "Wrong handle type, it should be service context handle.",
                         OCI_ERROR);
    }
    TVCIStmt *stmt = NULL;
    TVCIHandleAlloc(SvcNativeSession((const OCISvcCtx *)hndlp), (void **)&stmt, TVCI_HTYPE_STMT);
    ErrorNoSource(errhp);
    int32_t length = 0;
    TVCIExecDirect(stmt, "show version", -1);
    int32_t result = TVCIDefineColumn(stmt, 1, bufp, (int32_t)bufsz, TVCI_C_CHAR, NULL, &length);
    // A statement that could not be defined stays with its session.
    if (result != 0) return OCI_ERROR;
    result = TVCIFetch(stmt);
    TVCIHandleFree(stmt);
    return result == 0 ? OCI_SUCCESS : OCI_ERROR;
}
