// Executing a statement: a prepared one by its name, any other by its text.
#include "stmt/execute.h"

#include <cstdio>

#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/cursor.h"
#include "stmt/prepare.h"
#include "stmt/response.h"
#include "stmt/statement.h"
#include "values/encode.h"
#include "wire/connection.h"

static void SendParams(Connection *conn, const TVCIStmt *stmt) {
    for (int32_t i = 0; i < stmt->param_count; i++) {
        ParamSend(conn, &stmt->params[i]);
    }
}

void BeginAnswer(TVCIStmt *stmt) {
    stmt->state = STMT_SENT;
    stmt->response_done.store(0, std::memory_order_release);
    stmt->rows_complete.store(0, std::memory_order_release);
}

void TakeFirstResult(TVCIStmt *stmt, bool link_results) {
    ResultSet *first = FirstResult(stmt);
    if (first == NULL) return;
    stmt->current = first;
    if (link_results) {
        first->next_result = FollowingResult(first);
    }
}

int32_t ReadAnswer(TVCIStmt *stmt, Connection *conn, bool link_results) {
    BeginAnswer(stmt);
    bool reader_started;
    const int32_t result = ReadResponse(stmt, &reader_started);
    TakeFirstResult(stmt, link_results);
    if (!reader_started) {
        SemaphoreRelease(&conn->use_semaphore);
    }
    return result;
}

// Opens the cursor whose declaration is out. The result of the declaration is not looked at: what
// became of it shows when the cursor is opened.
static int32_t OpenCursor(TVCIStmt *stmt, Connection *conn) {
    BeginAnswer(stmt);
    bool reader_started;
    ReadResponse(stmt, &reader_started);
    if (reader_started) {
        // The connection is a row reader's, who gives it back.
        WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    }
    CursorSendOpen(stmt, conn);
    stmt->cursor_open = 1;
    return ReadAnswer(stmt, conn, false);
}

int32_t TVCIExecute(TVCIStmt *stmt) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (stmt->sql == NULL || !stmt->prepared) return TVCI_ERROR;
    ReleaseResults(stmt);
    Connection *conn = stmt->session->conn;
    if (conn == NULL) return TVCI_CONNECTION_LOST;
    char text[CURSOR_COMMAND_BYTES];
    if (!stmt->cursor_declared) {
        snprintf(text, sizeof(text), "? %s ", stmt->prepared_name);
    } else if (!CursorDeclare(stmt, text)) {
        return TVCI_NO_MEMORY;
    }
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    // A broken socket shows at the first letter of the answer.
    ConnSendCommandArgs(conn, text, stmt->param_count);
    SendParams(conn, stmt);
    ConnFlush(conn);
    return stmt->cursor_declared ? OpenCursor(stmt, conn) : ReadAnswer(stmt, conn, false);
}

int32_t EndUnsent(TVCIStmt *stmt, Connection *conn) {
    const int32_t result = ReplaceConnection(stmt, &conn);
    stmt->response_done.store(1, std::memory_order_release);
    SemaphoreRelease(&conn->use_semaphore);
    return result;
}

static int32_t ExecDirect(TVCIStmt *stmt, const char *text, int32_t length, bool drops_prepared) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (text == NULL || length < -1) return TVCI_INVALID_ARGUMENT;
    if (!StmtSetText(stmt, text, length)) return TVCI_NO_MEMORY;
    stmt->state = STMT_TEXT_SET;
    Connection *conn = stmt->session->conn;
    if (conn == NULL) return TVCI_CONNECTION_LOST;
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    ReleaseResults(stmt);
    SemaphoreRelease(&conn->use_semaphore);
    if (!ParamsForDirect(stmt)) return TVCI_ERROR;
    if (drops_prepared) {
        stmt->prepared = 0;
    }
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    if (ConnSendCommandArgs(conn, stmt->sql, stmt->param_count) != 0) return EndUnsent(stmt, conn);
    if (stmt->param_count > PARAM_COUNT_MAX) {
        // The header stays in the send buffer, in front of the next request.
        SemaphoreRelease(&conn->use_semaphore);
        return TVCI_NO_MEMORY;
    }
    SendParams(conn, stmt);
    if (ConnFlush(conn) != 0) return EndUnsent(stmt, conn);
    return ReadAnswer(stmt, conn, true);
}

int32_t TVCIExecDirect(TVCIStmt *stmt, const char *text, int32_t length) {
    return ExecDirect(stmt, text, length, false);
}

// A copy of the statement's current result for the application to keep; it is tied to what the
// result owns until the statement releases that.
static ResultSet *CopyCurrentResult(TVCIStmt *stmt) {
    const ResultSet *result = stmt->current;
    if (result == NULL) return NULL;
    ResultSet *copy = (ResultSet *)MemAlloc(sizeof(ResultSet));
    void **text_cache = (void **)MemAlloc((size_t)result->field_count * sizeof(void *));
    if (copy == NULL || text_cache == NULL) {
        MemFree(copy);
        MemFree(text_cache);
        return NULL;
    }
    copy->link.next = stmt->copies;
    stmt->copies = &copy->link;
    copy->next_result = result->next_result;
    copy->statement = stmt;
    copy->kind = result->kind;
    copy->field_count = result->field_count;
    copy->fields = result->fields;
    copy->row_size = result->row_size;
    copy->position = result->position;
    copy->store.slots = result->store.slots;
    // The rows that are there now: what a row reader adds behind them is not in the copy.
    copy->store.row_count.store(result->store.row_count.load(std::memory_order_acquire),
                                std::memory_order_relaxed);
    copy->current_row = result->current_row;
    copy->affected = result->affected;
    copy->arena = result->arena;
    copy->text_cache = text_cache;
    return copy;
}

ResultSet *TVCIExecuteResult(TVCIStmt *stmt) {
    return TVCIExecute(stmt) == TVCI_SUCCESS ? CopyCurrentResult(stmt) : NULL;
}

ResultSet *TVCIExecDirectResult(TVCIStmt *stmt, const char *text, int32_t length) {
    return ExecDirect(stmt, text, length, true) == TVCI_SUCCESS ? CopyCurrentResult(stmt) : NULL;
}

void ResultClose(ResultSet *copy) {
    if (copy == NULL) return;
    if (copy->statement != NULL) {
        ResultLink **place = &copy->statement->copies;
        while (*place != &copy->link) {
            place = &(*place)->next;
        }
        *place = copy->link.next;
    }
    for (int32_t i = 0; i < copy->field_count; i++) {
        MemFree(copy->text_cache[i]);
    }
    MemFree(copy->text_cache);
    MemFree(copy);
}

int32_t TVCINextResult(TVCIStmt *stmt) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (stmt->current == NULL || stmt->current->next_result == NULL) return TVCI_NO_NEXT_RESULT;
    stmt->current = stmt->current->next_result;
    return TVCI_SUCCESS;
}
