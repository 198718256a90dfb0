// Large value locators: the one descriptor that the application makes and frees.
#include "oci/handles.h"
#include "oci/lob.h"
#include "oci/record_links.h"
#include "oci/stmt.h"
#include "oci/usermem.h"
#include "platform/memory.h"

int32_t OciDescriptorAlloc(const void *parenth, void **descpp, uint32_t type, size_t xtramem_sz,
                           void **usrmempp) {
    if (parenth == NULL) return OCI_ERROR;
    if (descpp == NULL || *(const uint32_t *)parenth != OCI_HTYPE_ENV || type != OCI_DTYPE_LOB) {
        return OCI_INVALID_HANDLE;
    }
    OCIEnv *env = (OCIEnv *)const_cast<void *>(parenth);
    OCILobLocator *locator = (OCILobLocator *)MemAlloc(sizeof(OCILobLocator));
    LobRecord *lob = locator != NULL ? TVCILobAlloc() : NULL;
    if (lob == NULL) {
        MemFree(locator);
        return OCI_ERROR;
    }
    locator->type = OCI_DTYPE_LOB;
    locator->native_lob = lob;
    *descpp = locator;
    if (xtramem_sz != 0 && usrmempp != NULL) {
        *usrmempp = UserMemAdd(env, xtramem_sz);
        if (*usrmempp == NULL) {
            TVCILobFree(lob);
            MemFree(locator);
            return OCI_ERROR;
        }
    }
    RecordAttach(env, &locator->link, locator);
    return OCI_SUCCESS;
}

int32_t OciDescriptorFree(void *descp, uint32_t type) {
    if (descp == NULL || *(const uint32_t *)descp != OCI_DTYPE_LOB || type != OCI_DTYPE_LOB) {
        return OCI_INVALID_HANDLE;
    }
    OCILobLocator *locator = (OCILobLocator *)descp;
    while (OCIStmt *stmtp = NameTakeStmt(&locator->link)) {
        StmtForgetLob(stmtp, locator->native_lob);
    }
    TVCILobFree(locator->native_lob);
    LobStagingLose(locator);
    NameClear(&locator->rows_of);
    RecordDetach(&locator->link);
    MemFree(locator);
    return OCI_SUCCESS;
}
