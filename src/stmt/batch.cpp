// Array execution: one text, run for every row of the arrays that are bound to its parameters.
#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/execute.h"
#include "stmt/letters.h"
#include "stmt/prepare.h"
#include "stmt/response.h"
#include "stmt/response_items.h"
#include "stmt/rows.h"
#include "stmt/statement.h"
#include "values/encode.h"
#include "wire/connection.h"

// Where the number of rows stands in the parameter word, above the number of parameters.
constexpr int32_t ROWS_SHIFT = 16;
// The byte that makes a server go on with a row stream in which it has paused.
constexpr char GO_ON[] = ".";

// Reads at most two blocks of rows, the second one after the server was asked for it; no row reader
// is started. The end of the response ends the call and leaves its flags clear. When it came right
// behind a full first block, the letter that is read here is that of another answer.
static bool ReadRowBlocks(Response *response) {
    ResultSet *result = NewResultSet(response->stmt);
    if (result == NULL) return EndWithoutMemory(response);
    result->kind = RESULT_ROWS;
    const int32_t fields_result = ReadFieldList(result);
    if (fields_result != TVCI_SUCCESS) return EndCutShort(response, fields_result);
    MutexInit(&result->count_lock);
    if (ReadFirstRows(result) == FIRST_ROWS_MAX && !EndFollows(response)) {
        ConnWrite(response->conn, GO_ON, 1);
        ConnFlush(response->conn);
        ReadFirstRows(result);
    }
    MutexDestroy(&result->count_lock);
    return EndFollows(response) ? EndResponse(response, TVCI_SUCCESS) : true;
}

static bool ReadItem(Response *response, uint8_t letter) {
    switch (letter) {
        case MSG_ROWS: return ReadRowBlocks(response);
        case MSG_DELETED: return ReadAffectedItem(response, RESULT_DELETE);
        case MSG_ERROR: return ReadErrorItem(response);
        case MSG_ERROR_OTHER: return ReadErrorItem(response);
        case MSG_INSERTED: return ReadInsertedItem(response);
        case MSG_END: return EndAtLastLetter(response);
        case MSG_MESSAGE: return ReadMessageItem(response);
        case MSG_UPDATED: return ReadAffectedItem(response, RESULT_UPDATE);
        case MSG_WARNING: return ReadMessageItem(response);
        // An unknown letter is a success whose response never ends.
        default: return EndResponse(response, TVCI_SUCCESS);
    }
}

static int32_t ReadResponseBatch(TVCIStmt *stmt) {
    Response response = OpenResponse(stmt);
    uint8_t letter;
    bool goes_on = true;
    while (goes_on) {
        goes_on = ConnReadChar(response.conn, &letter) ? ReadItem(&response, letter)
                                                       : EndConnectionLost(&response);
    }
    return response.result;
}

// Reads the answer to rows that are out; the caller holds the permit. A response whose end was not
// seen keeps it.
static int32_t ReadBatchAnswer(TVCIStmt *stmt, Connection *conn) {
    BeginAnswer(stmt);
    const int32_t result = ReadResponseBatch(stmt);
    if (result < 0) {
        stmt->response_done.store(1, std::memory_order_release);
        SemaphoreRelease(&conn->use_semaphore);
        return result;
    }
    TakeFirstResult(stmt, true);
    if (stmt->response_done.load(std::memory_order_acquire)) {
        SemaphoreRelease(&conn->use_semaphore);
    }
    MemFree(stmt->sql);
    stmt->sql = NULL;
    return result;
}

int32_t TVCIExecDirectBatch(TVCIStmt *stmt, const char *text, int32_t length) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (text == NULL || length < -1) return TVCI_INVALID_ARGUMENT;
    if (!StmtSetText(stmt, text, length)) return TVCI_NO_MEMORY;
    stmt->state = STMT_TEXT_SET;
    stmt->prepared = 0;
    Connection *conn = stmt->session->conn;
    if (conn == NULL) return TVCI_CONNECTION_LOST;
    ReleaseResults(stmt);
    if (!ParamsForDirect(stmt)) return TVCI_ERROR;
    const uint32_t word = (uint32_t)stmt->param_count | stmt->array_rows << ROWS_SHIFT;
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    // A word of 32768 rows and more counts as negative and goes out as 0.
    if (ConnSendCommandArgs(conn, stmt->sql, (int32_t)word) != 0) return EndUnsent(stmt, conn);
    if (stmt->param_count > PARAM_COUNT_MAX) {
        // The header stays in the send buffer, in front of the next request.
        SemaphoreRelease(&conn->use_semaphore);
        return TVCI_NO_MEMORY;
    }
    ParamSendRows(conn, stmt);
    if (ConnFlush(conn) != 0) return EndUnsent(stmt, conn);
    return ReadBatchAnswer(stmt, conn);
}
