// The write-back of changed large values at commit.
#pragma once

#include "oci/records.h"

// Turns the large values written since the last commit into an UPDATE. -1 for a statement without a
// text, 0 when there is nothing to write.
int32_t LobWriteBack(OCIStmt *stmt);
