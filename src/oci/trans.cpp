// Transactions of the call interface.
#include "oci/trans.h"

#include "oci/handles.h"
#include "oci/lob_writeback.h"
#include "oci/record_links.h"

// The opening of every call: checks, and from where an error will be read.
static int32_t TransOpen(OCISvcCtx *svchp, OCIError *errhp) {
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (svchp == NULL) return ErrorFail(errhp, "Parameter svchp is NULL.", OCI_INVALID_HANDLE);
    ErrorFromSession(errhp, SvcSession(svchp));
    return OCI_SUCCESS;
}

int32_t OciTransStart(OCISvcCtx *svchp, OCIError *errhp, uint32_t timeout, uint32_t flags) {
    (void)timeout;
    (void)flags;
    int32_t result = TransOpen(svchp, errhp);
    return result != 0 ? result : TVCIBeginTrans(SvcNativeSession(svchp));
}

int32_t OciTransCommit(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags) {
    (void)flags;
    int32_t result = TransOpen(svchp, errhp);
    if (result != 0) return result;
    // A write-back that fails does not stop the commit.
    OCIStmt *stmt = (OCIStmt *)NameRecord(&svchp->stmt);
    if (stmt != NULL) {
        LobWriteBack(stmt);
    }
    return TVCICommit(SvcNativeSession(svchp));
}

int32_t OciTransRollback(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags) {
    (void)flags;
    int32_t result = TransOpen(svchp, errhp);
    return result != 0 ? result : TVCIRollback(SvcNativeSession(svchp), 1, 0);
}

int32_t OciTransDetach(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags) {
    (void)svchp;
    (void)errhp;
    (void)flags;
    return OCI_SUCCESS;
}
