// Fetching ahead: a thread that fetches the next block of a server cursor while the application
// reads the current one.
#include "stmt/fetch_ahead.h"

#include <utility>

#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/cursor.h"
#include "stmt/execute.h"
#include "stmt/letters.h"
#include "stmt/param_get.h"
#include "stmt/response.h"
#include "stmt/response_items.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

// The result of a response in which a text was cut short.
constexpr int32_t TEXT_CUT_SHORT = 1;

// An item was cut short: the block is emptied, and the response counts as over.
static bool EndBlockCutShort(Response *response, ResultSet *result, int32_t status) {
    FreeResultSet(result);
    response->stmt->response_done.store(1, std::memory_order_release);
    return EndResponse(response, status);
}

static bool ReadBlock(Response *response, ResultSet *result) {
    result->kind = RESULT_ROWS;
    const int32_t fields_result = ReadFieldList(result);
    if (fields_result != TVCI_SUCCESS) return EndBlockCutShort(response, result, fields_result);
    MutexInit(&result->count_lock);
    const int32_t row_count = ReadFirstRows(result);
    if (EndFollows(response)) {
        MutexDestroy(&result->count_lock);
        return EndAtLastLetter(response);
    }
    if (row_count < FIRST_ROWS_MAX) return true;
    // No reader takes the rest over: the letter is dropped and the response stays open.
    response->conn->pushback = 0;
    return EndResponse(response, TVCI_SUCCESS);
}

static bool ReadBlockNotice(Response *response, ResultSet *result) {
    if (ReadNotice(response->conn, response->stmt) == TVCI_SUCCESS) return true;
    return EndBlockCutShort(response, result, TEXT_CUT_SHORT);
}

static bool ReadBlockItem(Response *response, ResultSet *result, uint8_t letter) {
    switch (letter) {
        case MSG_ROWS: return ReadBlock(response, result);
        case MSG_DELETED:
        case MSG_UPDATED:
        case MSG_INSERTED:
        case MSG_DATA:
        case MSG_OUT_PARAMETER: return EndResponse(response, TVCI_SUCCESS);
        case MSG_ERROR:
        case MSG_ERROR_OTHER:
        case MSG_MESSAGE:
        case MSG_WARNING: return ReadBlockNotice(response, result);
        case MSG_END: return EndAtLastLetter(response);
        default: return EndAtUnknownLetter(response);
    }
}

int32_t ReadFetchResponse(TVCIStmt *stmt, ResultSet *result) {
    Response response = OpenResponse(stmt);
    uint8_t letter;
    bool goes_on = true;
    while (goes_on) {
        goes_on = ConnReadChar(response.conn, &letter) ? ReadBlockItem(&response, result, letter)
                                                       : EndConnectionLost(&response);
    }
    return response.result;
}

static bool HasRows(const ResultSet *result) {
    return result->store.row_count.load(std::memory_order_acquire) != 0;
}

void AheadShareRelease(AheadShare *share) {
    if (share == NULL) return;
    if (share->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        MemFree(share);
    }
}

static bool ShareWithReaders(TVCIStmt *stmt) {
    if (stmt->ahead != NULL) return true;
    stmt->ahead = (AheadShare *)MemAlloc(sizeof(AheadShare));
    if (stmt->ahead == NULL) return false;
    stmt->ahead->stmt = stmt;
    stmt->ahead->holders.store(1, std::memory_order_relaxed);
    return true;
}

// Starts a reader that fills `block`. One that the system refuses is missed by the fetch, which
// then waits for its rows.
static void StartReader(TVCIStmt *stmt, ResultSet *block) {
    AheadShare *share = stmt->ahead;
    ResultSetAppend(block);
    stmt->ahead_result = block;
    share->holders.fetch_add(1, std::memory_order_relaxed);
    share->state.store(AHEAD_MAY_START, std::memory_order_release);
    if (!ConnStartThread(FetchAheadEntry, 0, share)) {
        AheadShareRelease(share);
    }
}

// Fetches the first block into `first`; `second` is for the reader, and freed when there is none.
static int32_t FetchFirstInto(TVCIStmt *stmt, ResultSet *first, ResultSet *second) {
    ReleaseResults(stmt);
    Connection *conn = stmt->session->conn;
    if (conn == NULL) {
        MemFree(first);
        MemFree(second);
        return TVCI_NO_DATA;
    }
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    CursorSendFetch(stmt, conn);
    BeginAnswer(stmt);
    ReadFetchResponse(stmt, first);
    ResultSetAppend(first);
    stmt->current = first;
    // A response that was left open keeps the permit, and nobody gives it back.
    if (stmt->response_done.load(std::memory_order_acquire)) {
        SemaphoreRelease(&conn->use_semaphore);
    }
    if (first->store.row_count.load(std::memory_order_acquire) >= FIRST_ROWS_MAX) {
        StartReader(stmt, second);
        return TVCI_SUCCESS;
    }
    MemFree(second);
    if (!HasRows(first)) return EndOfRows(first);
    stmt->ahead->state.store(AHEAD_NO_MORE_ROWS, std::memory_order_release);
    return TVCI_SUCCESS;
}

int32_t FetchFirstAhead(TVCIStmt *stmt) {
    ResultSet *first = ResultSetCreate(stmt);
    ResultSet *second = ResultSetCreate(stmt);
    if (first == NULL || second == NULL || !ShareWithReaders(stmt)) {
        MemFree(first);
        MemFree(second);
        return TVCI_NO_MEMORY;
    }
    return FetchFirstInto(stmt, first, second);
}

int32_t TakeAheadBlock(TVCIStmt *stmt) {
    int32_t state = AheadStateOf(stmt);
    while (state != AHEAD_BLOCK_WAITS && state != AHEAD_NO_MORE_ROWS) {
        WaitStep(WAIT_AHEAD_ROWS);
        state = AheadStateOf(stmt);
    }
    // A block that was released is not there, though its reader still sleeps behind it.
    if (state == AHEAD_NO_MORE_ROWS || stmt->ahead_result == NULL) return EndOfRows(stmt->current);
    std::swap(stmt->current, stmt->ahead_result);
    ColumnHandlesMove(stmt, stmt->current);
    // From here on a reader may empty the used block.
    stmt->ahead->state.store(AHEAD_BLOCK_TAKEN, std::memory_order_release);
    return TVCI_SUCCESS;
}

// Takes the turn, if there is one to be had; a statement may have several readers, of which only
// one gets it.
static bool TakeTurn(AheadShare *share, int32_t state) {
    if (state != AHEAD_MAY_START && state != AHEAD_BLOCK_TAKEN) return false;
    return share->state.compare_exchange_strong(state, AHEAD_FETCHING, std::memory_order_acq_rel);
}

// Fetches a block; the turn is this thread's.
static void FetchAhead(AheadShare *share) {
    TVCIStmt *stmt = share->stmt;
    ResultSet *result = stmt->ahead_result;
    FreeResultSet(result);
    result->position = 0;
    Connection *conn = stmt->session->conn;
    int32_t state = AHEAD_NO_MORE_ROWS;
    if (conn != NULL) {
        WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
        CursorSendFetch(stmt, conn);
        ReadFetchResponse(stmt, result);
        if (HasRows(result)) {
            state = AHEAD_BLOCK_WAITS;
        } else {
            FreeResultSet(result);
        }
    }
    // From here on the statement and its results may be gone; who closes the connection waits for
    // the permit.
    share->state.store(state, std::memory_order_release);
    if (conn != NULL) {
        SemaphoreRelease(&conn->use_semaphore);
    }
}

void FetchAheadEntry(void *argument) {
    AheadShare *share = (AheadShare *)argument;
    for (;;) {
        int32_t state = share->state.load(std::memory_order_acquire);
        if (state == AHEAD_NO_MORE_ROWS) break;
        if (state == AHEAD_BLOCK_WAITS) {
            WaitStep(WAIT_AHEAD_TURN);
            state = share->state.load(std::memory_order_acquire);
        }
        if (TakeTurn(share, state)) {
            FetchAhead(share);
        } else {
            WaitStep(WAIT_AHEAD_TURN);
        }
    }
    AheadShareRelease(share);
}
