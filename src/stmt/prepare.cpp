// Preparing a statement on the server, and taking what the server keeps for it down again.
#include "stmt/prepare.h"

#include <cstdio>
#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/cursor.h"
#include "stmt/letters.h"
#include "stmt/response.h"
#include "stmt/rows.h"
#include "stmt/statement.h"
#include "values/bind.h"
#include "wire/connection.h"

// What a PREPARE adds to the text: "PREPARE ", a name of at most 13 characters, " AS " and the NUL.
constexpr size_t PREPARE_FRAME_BYTES = 32;
// Room for the commands that carry a name only.
constexpr size_t NAME_COMMAND_BYTES = 64;

char *CopySqlText(const char *text, int32_t length) {
    if (text == NULL) return MemCopyText("");
    const size_t bytes = length == -1 ? strlen(text) : (size_t)length;
    if (bytes > (size_t)SQL_TEXT_BYTES_MAX) return NULL;
    return MemCopyBytes(text, bytes);
}

bool StmtSetText(TVCIStmt *stmt, const char *text, int32_t length) {
    char *copy = CopySqlText(text, length);
    MemFree(stmt->sql);
    stmt->sql = copy;
    return copy != NULL;
}

int32_t ReadParamDescs(Connection *conn) {
    uint32_t count;
    if (!ConnReadInt32(conn, &count)) return TVCI_CONNECTION_LOST;
    if (count > INT32_MAX) return TVCI_NO_MEMORY;
    for (uint32_t i = 0; i < count; i++) {
        char *name;
        const int32_t result = ConnReadString(conn, &name);
        if (result != 0) return result;
        MemFree(name);
        uint32_t word;
        for (int32_t words_left = 3; words_left > 0; words_left--) {
            if (!ConnReadInt32(conn, &word)) return TVCI_CONNECTION_LOST;
        }
    }
    return TVCI_SUCCESS;
}

// Hangs a new error record on the statement, made from a text that the server sends next.
static void ReadPrepareError(TVCIStmt *stmt, Connection *conn) {
    char *text;
    if (ConnReadString(conn, &text) != 0) return;
    ErrInfo *err = NULL;
    if (ErrInfoFromServer(&err, text) == 0) {
        ErrInfoAttach(stmt, err);
    }
    MemFree(text);
}

// Reads the answer to a PREPARE. `*conn` becomes the connection whose permit is to be released.
static int32_t ReadPrepareAnswer(TVCIStmt *stmt, Connection **conn) {
    for (uint8_t letter; ConnReadChar(*conn, &letter);) {
        switch (letter) {
            case MSG_ROWS: {
                ResultSet *result = NewResultSet(stmt);
                if (result == NULL) return TVCI_NO_MEMORY;
                result->kind = RESULT_ROWS;
                ReadFieldList(result);
                if (stmt->use_server_cursor) {
                    stmt->cursor_declared = 1;
                }
                break;
            }
            case MSG_PARAMETER_DESCS: ReadParamDescs(*conn); break;
            case MSG_END:
                stmt->prepared = 1;
                stmt->state = STMT_PREPARED;
                return TVCI_SUCCESS;
            default:
                // Whatever the letter, a text follows. A letter behind it that does not end the
                // answer is dropped, and an end that comes later makes the PREPARE a success.
                ReadPrepareError(stmt, *conn);
                letter = 0;
                ConnReadChar(*conn, &letter);
                if (letter == MSG_END) return TVCI_ERROR;
                break;
        }
    }
    return ReplaceConnection(stmt, conn);
}

int32_t TVCIPrepare(TVCIStmt *stmt, const char *text, int32_t length) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (text == NULL || length < -1) return TVCI_INVALID_ARGUMENT;
    if (!StmtSetText(stmt, text, length)) return TVCI_NO_MEMORY;
    if (stmt->prepared) {
        DeallocatePrepared(stmt);
    }
    if (!ParamScan(stmt)) return TVCI_ERROR;

    const size_t command_bytes = strlen(stmt->sql) + PREPARE_FRAME_BYTES;
    char *command = (char *)MemAlloc(command_bytes);
    if (command == NULL) return TVCI_NO_MEMORY;
    Connection *conn = stmt->session->conn;
    if (conn == NULL) {
        MemFree(command);
        return TVCI_CONNECTION_LOST;
    }
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    // The number is used up whatever the server answers.
    snprintf(stmt->prepared_name, sizeof(stmt->prepared_name), "ST%d", (int32_t)conn->next_stmt_id);
    conn->next_stmt_id++;
    snprintf(command, command_bytes, "PREPARE %s AS %s", stmt->prepared_name, stmt->sql);
    ConnSendCommand(conn, command);
    MemFree(command);
    stmt->cursor_declared = 0;
    const int32_t result = ReadPrepareAnswer(stmt, &conn);
    SemaphoreRelease(&conn->use_semaphore);
    return result;
}

void DeallocatePrepared(TVCIStmt *stmt) {
    if (!stmt->prepared) return;
    ReleaseResults(stmt);
    ParamsFree(stmt);
    Connection *conn = stmt->session->conn;
    if (conn == NULL) return;
    char command[NAME_COMMAND_BYTES];
    snprintf(command, sizeof(command), "DEALLOCATE %s;", stmt->prepared_name);
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    ConnSendCommand(conn, command);
    uint8_t letter;
    // On a lost connection the statement still counts as prepared, and the next one to be
    // deallocated bears the newer name.
    if (ConnReadChar(conn, &letter)) {
        stmt->prepared = 0;
        if (letter != MSG_END) {
            char *text;
            ConnReadString(conn, &text);
            MemFree(text);
            ConnReadChar(conn, &letter);
        }
    }
    SemaphoreRelease(&conn->use_semaphore);
}

void CloseStatementServerState(TVCIStmt *stmt) {
    if (stmt->use_server_cursor && stmt->cursor_open) {
        CursorClose(stmt);
        MemFree(stmt->cursor_name);
        stmt->cursor_name = NULL;
        stmt->cursor_declared = 0;
    }
    if (stmt->prepared) {
        char command[NAME_COMMAND_BYTES];
        // Names stand in backticks here and bare in DeallocatePrepared; servers get both.
        snprintf(command, sizeof(command), "DEALLOCATE `%s`;", stmt->prepared_name);
        RunSimpleCommand(stmt->session->conn, command);
        stmt->prepared = 0;
        memset(stmt->prepared_name, 0, sizeof(stmt->prepared_name));
    }
}
