// The response loop: reads a server's answer item by item into the statement's results.
#include "stmt/response.h"

#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/fetch_ahead.h"
#include "stmt/letters.h"
#include "stmt/response_items.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "values/decode.h"
#include "wire/cipher.h"
#include "wire/connection.h"
#include "wire/reconnect.h"

// The result of a response in which a text was cut short.
constexpr int32_t TEXT_CUT_SHORT = 1;
// Bytes that are thrown away pass through a buffer of this size.
constexpr int32_t DISCARD_BYTES = 512;

ResultSet *FollowingResult(ResultSet *result) {
    ResultLink *next = result->link.next;
    return next == &result->statement->results ? NULL : (ResultSet *)next;
}

ResultSet *FirstResult(TVCIStmt *stmt) {
    ResultLink *first = stmt->results.next;
    return first == &stmt->results ? NULL : (ResultSet *)first;
}

// Copies of a result live on what the result owns. They become empty when it goes.
static void DetachCopies(TVCIStmt *stmt) {
    while (stmt->copies != NULL) {
        ResultSet *copy = (ResultSet *)stmt->copies;
        stmt->copies = copy->link.next;
        copy->link.next = NULL;
        copy->next_result = NULL;
        copy->statement = NULL;
        copy->fields = NULL;
        copy->store.slots = NULL;
        copy->store.row_count.store(0, std::memory_order_relaxed);
        copy->position = 0;
        copy->current_row = NULL;
        copy->arena = NULL;
    }
}

// Waits until no reader has the turn or may take it: the result that they fill is left alone then.
static void WaitAheadReader(const TVCIStmt *stmt) {
    // Switched off in the middle of a cursor, fetching ahead is waited for only while there is a
    // reader.
    const bool is_on = stmt->fetch_ahead && stmt->use_server_cursor;
    if (!is_on && stmt->ahead->holders.load(std::memory_order_acquire) == 1) return;
    for (;;) {
        const int32_t state = AheadStateOf(stmt);
        if (state == AHEAD_BLOCK_WAITS || state == AHEAD_NO_MORE_ROWS) return;
        WaitStep(WAIT_AHEAD_RELEASE);
    }
}

void ReleaseResults(TVCIStmt *stmt) {
    while (!stmt->response_done.load(std::memory_order_acquire)) {
        WaitSpin(WAIT_RESPONSE_DONE);
    }
    DetachCopies(stmt);
    for (ResultSet *result = FirstResult(stmt); result != NULL; result = FollowingResult(result)) {
        if (stmt->ahead_result == result) {
            WaitAheadReader(stmt);
            stmt->ahead_result = NULL;
        }
        FreeResultSet(result);
    }
    for (ResultSet *result = FirstResult(stmt); result != NULL; result = FirstResult(stmt)) {
        stmt->results.next = result->link.next;
        MemFree(result);
    }
    stmt->current = NULL;
    MemFree(stmt->column_handles);
    stmt->column_handles = NULL;
    stmt->column_handle_count = 0;
    stmt->result_generation++;
}

Response OpenResponse(TVCIStmt *stmt) {
    return {stmt, stmt->session->conn, TVCI_ERROR, false, TVCI_SUCCESS};
}

bool EndResponse(Response *response, int32_t result) {
    response->result = result;
    return false;
}

bool EndAtLastLetter(Response *response) {
    response->stmt->rows_complete.store(1, std::memory_order_release);
    response->stmt->response_done.store(1, std::memory_order_release);
    return EndResponse(response, TVCI_SUCCESS);
}

bool EndWithoutMemory(Response *response) {
    response->stmt->response_done.store(1, std::memory_order_release);
    return EndResponse(response, TVCI_NO_MEMORY);
}

bool EndAtUnknownLetter(Response *response) {
    response->stmt->response_done.store(1, std::memory_order_release);
    return EndResponse(response, TVCI_ERROR);
}

// An item was cut short. The release comes before the flag that it waits for, and nobody else sets
// that flag: the caller stays here for good, and its connection with it.
bool EndCutShort(Response *response, int32_t result) {
    ReleaseResults(response->stmt);
    response->stmt->response_done.store(1, std::memory_order_release);
    return EndResponse(response, result);
}

int32_t ReplaceConnection(TVCIStmt *stmt, Connection **conn) {
    TVCISession *session = stmt->session;
    Connection *fresh = TVCIReconnect(session);
    if (fresh == NULL) return TVCI_CONNECTION_LOST;
    // Other statements of the session read the pointer while they wait for the permit: the record
    // that is there already is not stored again.
    if (fresh != session->conn) {
        session->conn = fresh;
    }
    *conn = fresh;
    return TVCI_RECONNECTED;
}

bool EndConnectionLost(Response *response) {
    const int32_t result = ReplaceConnection(response->stmt, &response->conn);
    response->stmt->response_done.store(1, std::memory_order_release);
    return EndResponse(response, result);
}

bool EndFollows(Response *response) {
    uint8_t letter = 0;
    ConnReadChar(response->conn, &letter);
    if (letter == MSG_END) return true;
    response->conn->pushback = letter;
    return false;
}

static bool GoOnUnlessEnd(Response *response) {
    return EndFollows(response) ? EndAtLastLetter(response) : true;
}

// The readers of the items. Each returns true when the response goes on.

static bool ReadRowsItem(Response *response) {
    TVCIStmt *stmt = response->stmt;
    ResultSet *result = NewResultSet(stmt);
    if (result == NULL) return EndWithoutMemory(response);
    result->kind = RESULT_ROWS;
    const int32_t fields_result = ReadFieldList(result);
    if (fields_result != 0) return EndCutShort(response, fields_result);
    MutexInit(&result->count_lock);
    const int32_t row_count = ReadFirstRows(result);
    if (EndFollows(response)) {
        MutexDestroy(&result->count_lock);
        return EndAtLastLetter(response);
    }
    if (row_count < FIRST_ROWS_MAX) return true;
    // A full block, whatever follows it: the thread has the connection and its permit from here on.
    stmt->rows_complete.store(0, std::memory_order_release);
    response->reader_started = true;
    ConnStartThread(BackgroundReaderEntry, 0, result);
    return EndResponse(response, TVCI_SUCCESS);
}

bool ReadAffectedItem(Response *response, int32_t kind) {
    uint32_t rows;
    if (!ConnReadInt32(response->conn, &rows)) return EndCutShort(response, TVCI_CONNECTION_LOST);
    ResultSet *result = NewResultSet(response->stmt);
    if (result == NULL) return EndWithoutMemory(response);
    result->kind = kind;
    result->affected += rows;
    return GoOnUnlessEnd(response);
}

bool DiscardDeciphered(Connection *conn, int32_t length) {
    uint8_t bytes[DISCARD_BYTES];
    for (int32_t left = length; left > 0;) {
        const int32_t part = left < DISCARD_BYTES ? left : DISCARD_BYTES;
        if (!ConnReadExact(conn, bytes, part)) return false;
        if (conn->use_ssl) {
            CipherApplyRecv(conn, bytes, part);
        }
        left -= part;
    }
    return true;
}

bool ReadInsertedItem(Response *response) {
    Connection *conn = response->conn;
    uint32_t bookmark_bytes;
    if (!ConnReadInt32(conn, &bookmark_bytes) ||
        !DiscardDeciphered(conn, (int32_t)bookmark_bytes)) {
        return EndCutShort(response, TVCI_CONNECTION_LOST);
    }
    ResultSet *result = NewResultSet(response->stmt);
    if (result == NULL) return EndWithoutMemory(response);
    result->kind = RESULT_INSERT;
    result->affected += 1;
    return GoOnUnlessEnd(response);
}

// Keeps the text in the statement's error record. `stored` says whether it got there.
static bool ReadText(Response *response, bool *stored) {
    char *text;
    if (ConnReadString(response->conn, &text) != 0) return EndCutShort(response, TEXT_CUT_SHORT);
    *stored = ErrInfoFromServer(&response->stmt->err, text) == 0;
    MemFree(text);
    return true;
}

bool ReadMessageItem(Response *response) {
    bool stored;
    return ReadText(response, &stored);
}

static int32_t ErrorResult(TVCIStmt *stmt, int32_t result) {
    char code[7];
    ErrInfoCode(&stmt->err, code);
    if (strcmp(code, "E13001") == 0) return TVCI_DUPLICATE_VALUE;
    if (strcmp(code, "E17005") == 0) return TVCI_SERVER_17005;
    return result;
}

bool ReadErrorItem(Response *response) {
    TVCIStmt *stmt = response->stmt;
    bool stored;
    if (!ReadText(response, &stored)) return false;
    if (stored) {
        response->error_result = ErrorResult(stmt, response->error_result);
    }
    stmt->rows_complete.store(1, std::memory_order_release);
    // Only an error directly in front of the end fails the call.
    if (!EndFollows(response)) return true;
    stmt->response_done.store(1, std::memory_order_release);
    return EndResponse(response, response->error_result);
}

static bool ReadDataItem(Response *response) {
    uint32_t number;
    uint32_t length;
    if (ConnReadInt32(response->conn, &number) && ConnReadInt32(response->conn, &length)) {
        ConnSkip(response->conn, (int32_t)length);
    }
    return true;
}

// A failed read of a value shows at the next letter.
static bool ReadOutParameterItem(Response *response) {
    ReadOutParameter(response->stmt);
    return true;
}

static bool ReadItem(Response *response, uint8_t letter) {
    switch (letter) {
        case MSG_ROWS: return ReadRowsItem(response);
        case MSG_DELETED: return ReadAffectedItem(response, RESULT_DELETE);
        case MSG_ERROR: return ReadErrorItem(response);
        case MSG_ERROR_OTHER: return ReadErrorItem(response);
        case MSG_INSERTED: return ReadInsertedItem(response);
        case MSG_END: return EndAtLastLetter(response);
        case MSG_MESSAGE: return ReadMessageItem(response);
        case MSG_DATA: return ReadDataItem(response);
        case MSG_OUT_PARAMETER: return ReadOutParameterItem(response);
        case MSG_UPDATED: return ReadAffectedItem(response, RESULT_UPDATE);
        case MSG_WARNING: return ReadMessageItem(response);
        default: return EndAtUnknownLetter(response);
    }
}

int32_t ReadResponse(TVCIStmt *stmt, bool *reader_started) {
    Response response = OpenResponse(stmt);
    uint8_t letter;
    bool goes_on = true;
    while (goes_on) {
        goes_on = ConnReadChar(response.conn, &letter) ? ReadItem(&response, letter)
                                                       : EndConnectionLost(&response);
    }
    *reader_started = response.reader_started;
    return response.result;
}

// Reads the rest of an error answer to a simple command: its text and the letter of the end.
static int32_t SwallowError(Connection *conn) {
    char *text;
    const int32_t result = ConnReadString(conn, &text);
    if (result != 0) return result;
    MemFree(text);
    uint8_t letter;
    return ConnReadChar(conn, &letter) ? TVCI_SUCCESS : TVCI_CONNECTION_LOST;
}

static int32_t ReadSimpleAnswer(Connection *conn) {
    uint8_t letter;
    if (!ConnReadChar(conn, &letter)) return TVCI_CONNECTION_LOST;
    switch (letter) {
        case MSG_END: return TVCI_SUCCESS;
        case MSG_ERROR: return SwallowError(conn);
        case MSG_ERROR_OTHER: return SwallowError(conn);
        default: return TVCI_ERROR;
    }
}

int32_t RunSimpleCommand(Connection *conn, const char *text) {
    if (conn == NULL) return TVCI_INVALID_ARGUMENT;
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    ConnSendCommand(conn, text);
    ConnFlush(conn);
    const int32_t result = ReadSimpleAnswer(conn);
    SemaphoreRelease(&conn->use_semaphore);
    return result;
}
