// The life of a native statement: made under its session, released in parts or whole.
#include "stmt/statement.h"

#include "client/handles.h"
#include "diag/error.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/fetch_ahead.h"
#include "stmt/prepare.h"
#include "stmt/response.h"
#include "values/bind.h"

// Values of the control file's server cursor.
constexpr int32_t CTL_CURSOR_PLAIN = 1;
constexpr int32_t CTL_CURSOR_AHEAD = 3;

// What TVCIStmtClose releases.
enum CloseMode { CLOSE_PARAMS = 1, CLOSE_COLUMNS = 2, CLOSE_CONTENTS = 3 };

TVCIStmt *StmtCreate(TVCISession *session) {
    TVCIStmt *stmt = (TVCIStmt *)(MemAlloc(sizeof(TVCIStmt)));
    if (stmt == NULL) return NULL;
    stmt->type = TVCI_HTYPE_STMT;
    stmt->session = session;
    stmt->results.next = &stmt->results;
    ListInit(&stmt->binds);
    MutexInit(&stmt->lock);
    stmt->response_done.store(1, std::memory_order_release);
    const TVCIServer *server = session->server;
    if (server->has_control_file) {
        stmt->use_server_cursor = server->ctl_server_cursor == CTL_CURSOR_PLAIN ||
                                  server->ctl_server_cursor == CTL_CURSOR_AHEAD;
        stmt->fetch_ahead = server->ctl_server_cursor == CTL_CURSOR_AHEAD;
    }
    MutexLock(&session->mutex);
    ListAppend(&session->stmts, &stmt->link);
    MutexUnlock(&session->mutex);
    return stmt;
}

static void ReleaseContents(TVCIStmt *stmt) {
    ParamsFree(stmt);
    Connection *conn = stmt->session->conn;
    if (conn != NULL && stmt->state == STMT_SENT &&
        !stmt->response_done.load(std::memory_order_acquire)) {
        // A row reader holds the permit; once it is to be had the reader is through.
        WaitSemaphore(&conn->use_semaphore, WAIT_CLOSE_PERMIT);
        SemaphoreRelease(&conn->use_semaphore);
    }
    ReleaseResults(stmt);
    stmt->state = STMT_TEXT_SET;
    MemFree(stmt->sql);
    stmt->sql = NULL;
    CloseStatementServerState(stmt);
    DefinesFree(stmt);
    ErrInfoFree(&stmt->err);
}

static void ReleaseHandle(TVCIStmt *stmt) {
    TVCISession *session = stmt->session;
    MutexLock(&session->mutex);
    ListRemove(&stmt->link);
    MutexUnlock(&session->mutex);
    MutexDestroy(&stmt->lock);
    MemFree(stmt->cursor_name);
    AheadShareRelease(stmt->ahead);
    ForgetOwner(stmt->owner_slot);
    stmt->type = 0;
    MemFree(stmt);
}

int32_t StmtRelease(TVCIStmt *stmt, int32_t mode) {
    switch (mode) {
        case CLOSE_PARAMS: ParamsFree(stmt); break;
        case CLOSE_COLUMNS: DefinesFree(stmt); break;
        case CLOSE_CONTENTS: ReleaseContents(stmt); break;
        default:
            ReleaseContents(stmt);
            ReleaseHandle(stmt);
            break;
    }
    return TVCI_SUCCESS;
}
