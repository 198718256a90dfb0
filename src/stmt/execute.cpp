// Executing a statement: a prepared one by its name, any other by its text.
#include <cstdio>

#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/prepare.h"
#include "stmt/response.h"
#include "stmt/statement.h"
#include "values/encode.h"
#include "wire/connection.h"

// Room for the text that runs a prepared statement: its name and three characters more.
constexpr size_t RUN_TEXT_BYTES = sizeof(TVCIStmt::prepared_name) + 3;

static void SendParams(Connection *conn, const TVCIStmt *stmt) {
    for (int32_t i = 0; i < stmt->param_count; i++) {
        ParamSend(conn, &stmt->params[i]);
    }
}

// Reads the response to a request that is out; the caller holds the permit. The permit is released
// unless a row reader has taken it over.
static int32_t ReadAnswer(TVCIStmt *stmt, Connection *conn, bool link_results) {
    stmt->state = STMT_SENT;
    stmt->response_done.store(0, std::memory_order_release);
    stmt->rows_complete.store(0, std::memory_order_release);
    bool reader_started;
    const int32_t result = ReadResponse(stmt, &reader_started);
    ResultSet *first = FirstResult(stmt);
    if (first != NULL) {
        stmt->current = first;
        if (link_results) {
            first->next_result = FollowingResult(first);
        }
    }
    if (!reader_started) {
        SemaphoreRelease(&conn->use_semaphore);
    }
    return result;
}

int32_t TVCIExecute(TVCIStmt *stmt) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (stmt->sql == NULL || !stmt->prepared) return TVCI_ERROR;
    ReleaseResults(stmt);
    Connection *conn = stmt->session->conn;
    if (conn == NULL) return TVCI_CONNECTION_LOST;
    // A statement with a declared cursor runs like any other: its rows come in this response, and
    // no cursor is opened for the fetch to pull from.
    char text[RUN_TEXT_BYTES];
    snprintf(text, sizeof(text), "? %s ", stmt->prepared_name);
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    // A broken socket shows at the first letter of the answer.
    ConnSendCommandArgs(conn, text, stmt->param_count);
    SendParams(conn, stmt);
    ConnFlush(conn);
    return ReadAnswer(stmt, conn, false);
}

// Ends a direct execution whose request did not get out.
static int32_t EndUnsent(TVCIStmt *stmt, Connection *conn) {
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
