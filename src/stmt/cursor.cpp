// Server cursors: what a statement sends to declare, open, fetch from and close its cursor.
#include "stmt/cursor.h"

#include <cstdio>
#include <cstring>

#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/execute.h"
#include "stmt/fetch_ahead.h"
#include "stmt/response.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

constexpr size_t FETCH_COMMAND_BYTES = 200;
// What a cursor is called behind the name of its statement.
static const char *const CURSOR_SUFFIX = "CUR";
// The suffix, the "_" in front of it and the NUL.
constexpr size_t CURSOR_SUFFIX_BYTES = 5;

void CursorClose(TVCIStmt *stmt) {
    char command[CURSOR_COMMAND_BYTES];
    snprintf(command, sizeof(command), "CLOSE `%s`;", stmt->cursor_name);
    RunSimpleCommand(stmt->session->conn, command);
    stmt->cursor_open = 0;
}

static bool CursorName(TVCIStmt *stmt) {
    const size_t name_bytes = strlen(stmt->prepared_name) + CURSOR_SUFFIX_BYTES;
    char *name = (char *)MemAlloc(name_bytes);
    if (name == NULL) return false;
    snprintf(name, name_bytes, "%s_%s", stmt->prepared_name, CURSOR_SUFFIX);
    MemFree(stmt->cursor_name);
    stmt->cursor_name = name;
    return true;
}

bool CursorDeclare(TVCIStmt *stmt, char command[CURSOR_COMMAND_BYTES]) {
    if (stmt->cursor_open) {
        CursorClose(stmt);
    } else if (!CursorName(stmt)) {
        return false;
    }
    snprintf(command, CURSOR_COMMAND_BYTES, "DECLARE %s CURSOR FOR %s;", stmt->cursor_name,
             stmt->prepared_name);
    return true;
}

void CursorSendOpen(const TVCIStmt *stmt, Connection *conn) {
    char command[CURSOR_COMMAND_BYTES];
    snprintf(command, sizeof(command), "OPEN %s;", stmt->cursor_name);
    ConnSendCommand(conn, command);
}

void CursorSendFetch(const TVCIStmt *stmt, Connection *conn) {
    char command[FETCH_COMMAND_BYTES];
    snprintf(command, sizeof(command), "FETCH %d FROM %s;", FIRST_ROWS_MAX, stmt->cursor_name);
    ConnSendCommand(conn, command);
}

int32_t EndOfRows(ResultSet *result) {
    if (result != NULL) {
        result->current_row = NULL;
    }
    return TVCI_NO_DATA;
}

// Fetches a block in the place of all earlier ones. What goes wrong shows as the end of the data.
static int32_t FetchBlock(TVCIStmt *stmt) {
    ReleaseResults(stmt);
    Connection *conn = stmt->session->conn;
    if (conn == NULL) return TVCI_NO_DATA;
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    CursorSendFetch(stmt, conn);
    ReadAnswer(stmt, conn, false);
    ResultSet *block = stmt->current;
    if (block == NULL || block->store.row_count.load(std::memory_order_acquire) == 0) {
        return EndOfRows(block);
    }
    return TVCI_SUCCESS;
}

int32_t CursorNextBlock(TVCIStmt *stmt) {
    ResultSet *used = stmt->current;
    if (!stmt->prepared || !stmt->use_server_cursor || !stmt->cursor_open) return EndOfRows(used);
    if (!stmt->fetch_ahead) return FetchBlock(stmt);
    const bool is_first = used->store.row_count.load(std::memory_order_acquire) == 0;
    return is_first ? FetchFirstAhead(stmt) : TakeAheadBlock(stmt);
}
