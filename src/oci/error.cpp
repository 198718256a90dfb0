// The error handle: what fills it, and what the application reads out of it.
#include <cstring>

#include "oci/handles.h"
#include "oci/record_links.h"
#include "platform/process.h"

void ErrorText(OCIError *errhp, const char *text) {
    size_t bytes = strnlen(text, ERROR_TEXT_BYTES - 1);
    std::memcpy(errhp->message, text, bytes);
    errhp->message[bytes] = '\0';
    errhp->source = ERROR_OF_RECORD;
}

int32_t ErrorFail(OCIError *errhp, const char *text, int32_t code) {
    ErrorText(errhp, text);
    return code;
}

static void SetSource(OCIError *errhp, uint32_t source, RecordLink *target) {
    NameSet(&errhp->source_handle, target);
    errhp->source = source;
}

void ErrorFromSession(OCIError *errhp, OCISession *session) {
    SetSource(errhp, ERROR_OF_SESSION, session != NULL ? &session->link : NULL);
}

void ErrorFromStmt(OCIError *errhp, OCIStmt *stmt) {
    SetSource(errhp, ERROR_OF_STMT, stmt != NULL ? &stmt->link : NULL);
}

void ErrorNoSource(OCIError *errhp) {
    SetSource(errhp, ERROR_OF_RECORD, NULL);
}

void ErrorClear(OCIError *errhp) {
    ErrorNoSource(errhp);
    errhp->message[0] = '\0';
}

void NativeErrorText(void *native, char message[ERROR_TEXT_BYTES]) {
    char code[32] = {};
    uint32_t length = 0;
    TVCIGetError(native, code, message, &length);
    if ((int32_t)length < 0) {
        length = 0;
    }
    // A message that fills the area leaves no room for its terminator.
    if (length >= ERROR_TEXT_BYTES) {
        ProcessAbort();
    }
    message[length] = '\0';
}

// The native handle of the session or statement that the error handle names, by its own type.
static void *SourceNative(const OCIError *errhp) {
    const void *record = NameRecord(&errhp->source_handle);
    if (record == NULL) return NULL;
    if (*(const uint32_t *)record == OCI_HTYPE_SESSION) {
        return ((const OCISession *)record)->native_session;
    }
    return ((const OCIStmt *)record)->native_stmt;
}

int32_t OciErrorGet(void *hndlp, uint32_t recordno, OCIText *sqlstate, int32_t *errcodep,
                    OCIText *bufp, uint32_t bufsiz, uint32_t type) {
    (void)sqlstate;
    (void)errcodep;
    if (hndlp == NULL) return OCI_INVALID_HANDLE;
    if (bufp == NULL) return OCI_SUCCESS;
    uint32_t record_type = *(const uint32_t *)hndlp;
    if (record_type != type || (type != OCI_HTYPE_ERROR && type != OCI_HTYPE_ENV)) {
        return OCI_INVALID_HANDLE;
    }
    if (recordno != 1) return OCI_NO_DATA;
    if (bufsiz == 0) return OCI_ERROR;
    char message[ERROR_TEXT_BYTES] = {};
    if (type == OCI_HTYPE_ERROR) {
        const OCIError *errhp = (const OCIError *)hndlp;
        if (errhp->source == ERROR_OF_RECORD) {
            std::memcpy(message, errhp->message, sizeof(message));
        } else if (errhp->source == ERROR_OF_SESSION || errhp->source == ERROR_OF_STMT) {
            NativeErrorText(SourceNative(errhp), message);
        }
    }
    size_t copied = bufsiz < sizeof(message) ? bufsiz : sizeof(message);
    std::memcpy(bufp, message, copied);
    std::memset(bufp + copied, 0, bufsiz - copied);
    return OCI_SUCCESS;
}
