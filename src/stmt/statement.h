// The life of a native statement.
#pragma once

#include <cstdint>

#include "records/statement.h"
#include "tavu/tvci.h"

// Whether a caller's pointer is a statement that was not freed.
inline bool StmtIsLive(const TVCIStmt *stmt) {
    return stmt != NULL && stmt->type == TVCI_HTYPE_STMT;
}

// Makes a statement at the tail of the session's list; NULL when memory is short.
TVCIStmt *StmtCreate(TVCISession *session);

// Releases by mode: 1 the params, 2 the bound columns, 3 all but the handle, any other the handle
// too. Always 0. TVCIStmtClose checks its arguments and comes here.
int32_t StmtRelease(TVCIStmt *stmt, int32_t mode);
