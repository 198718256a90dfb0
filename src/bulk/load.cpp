// Load and import: a table's rows pushed to the server as one binary stream.
#include <cstdio>
#include <cstring>

#include "bulk/ack_reader.h"
#include "bulk/row_buffer.h"
#include "diag/error.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/letters.h"
#include "stmt/statement.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

constexpr size_t COMMAND_BYTES = 256;

#define STREAM_TEXT " FROM STREAM RECORDS DELIMITED BY '' FIELDS TERMINATED BY '' "

// The delimiters are empty: the stream is binary. Indexed by load mode.
static const char *const load_command_table[] = {
    NULL,
    "LOAD APPEND TABLE %s " STREAM_TEXT "PARALLEL %d,%d",
    "LOAD REPLACE TABLE %s " STREAM_TEXT "PARALLEL %d,%d",
};
static const char *const import_command_table[] = {
    "IMPORT  TABLE %s " STREAM_TEXT "USE MODE %d",
    "IMPORT APPEND TABLE %s " STREAM_TEXT "USE MODE %d",
    "IMPORT REPLACE TABLE %s " STREAM_TEXT "USE MODE %d",
};
constexpr int32_t LOAD_MODES = 3;
// An import in this mode leaves the indexes alone whatever it is told.
constexpr uint32_t USE_MODE_FIRST = 1;
constexpr uint32_t USE_MODE_NO_REINDEX = 2;

// One call's arguments.
struct BulkRows {
    const uint8_t *data;                // values back to back in row order
    const int32_t *const *row_lengths;  // a pointer for each row, or NULL
    const int32_t *flat_lengths;        // where `row_lengths` is NULL: all lengths in sequence
    int32_t row_count;
    int32_t column_count;
};

static const int32_t *LengthsOfRow(const BulkRows *rows, int32_t row) {
    if (rows->row_lengths != NULL) return rows->row_lengths[row];
    return rows->flat_lengths + (int64_t)row * rows->column_count;
}

// Adds up a row's values; -1 when one of its lengths is none, or when the row is too long for its
// own length word.
static int64_t ValueBytes(const int32_t *lengths, int32_t column_count) {
    if (lengths == NULL) return -1;
    int64_t value_bytes = 0;
    int32_t lowest = 0;
    for (int32_t column = 0; column < column_count; column++) {
        const int32_t length = lengths[column];
        value_bytes += length < 0 ? 0 : length;
        lowest = length < lowest ? length : lowest;
    }
    const int64_t row_bytes =
        RowHeadBytes(column_count) + value_bytes + (int64_t)column_count * (int64_t)sizeof(int32_t);
    return lowest >= BULK_NULL && row_bytes <= INT32_MAX ? value_bytes : -1;
}

// Looked at ahead of the first byte that is sent: a stream cannot be taken back.
static bool RowsAreSendable(const BulkRows *rows) {
    if (rows->row_lengths == NULL && rows->flat_lengths == NULL) return false;
    bool has_data = rows->data != NULL;
    for (int32_t row = 0; row < rows->row_count; row++) {
        const int64_t value_bytes = ValueBytes(LengthsOfRow(rows, row), rows->column_count);
        if (value_bytes < 0 || (value_bytes > 0 && !has_data)) return false;
    }
    return true;
}

// A refusal of the client's own: a text without a code.
static int32_t Refuse(TVCIStmt *stmt, const char *text) {
    ErrInfoReplace(&stmt->err, "", text);
    return TVCI_ERROR;
}

// Reads an error's text into the statement's record.
static int32_t ReadRefusal(TVCIStmt *stmt, Connection *conn) {
    char *text;
    if (ConnReadString(conn, &text) != TVCI_SUCCESS) return TVCI_CONNECTION_LOST;
    ErrInfoFromServer(&stmt->err, text);
    MemFree(text);
    return TVCI_ERROR;
}

// Sends a command and reads the first letter of its answer. False when the connection is lost.
static bool Command(Connection *conn, const char *text, uint8_t *letter) {
    ConnSendCommandArgs(conn, text, 0);
    ConnFlush(conn);
    return ConnReadChar(conn, letter);
}

// The exchange of one number each that opens the stream; what the server's is does not matter.
static bool ExchangeStart(Connection *conn) {
    uint64_t ignored;
    ConnWriteInt64(conn, 0);
    ConnFlush(conn);
    return ConnReadInt64(conn, &ignored);
}

// Sends the rows and the end of the stream. Short of memory the rows before the one that has no
// room are sent, and the stream is ended behind them.
static int32_t SendRows(RowBuffer *buffer, const BulkRows *rows) {
    const uint8_t *value = rows->data;
    bool has_room = true;
    for (int32_t row = 0; row < rows->row_count && has_room; row++) {
        has_room = RowBufferPutRow(buffer, LengthsOfRow(rows, row), rows->column_count, &value);
    }
    RowBufferSend(buffer);
    ConnWriteInt32(buffer->conn, 0);
    ConnFlush(buffer->conn);
    return has_room ? TVCI_SUCCESS : TVCI_NO_MEMORY;
}

// The stream behind its command, with the server's answers read beside it.
static int32_t Stream(TVCIStmt *stmt, RowBuffer *buffer, const BulkRows *rows) {
    Connection *conn = buffer->conn;
    conn->bulk_error = 0;
    if (!ExchangeStart(conn)) return TVCI_CONNECTION_LOST;
    AckReaderStart(conn);
    const int32_t status = SendRows(buffer, rows);
    AckReaderWait(conn);
    if (conn->bulk_error) {
        ErrInfoReplaceCopy(&stmt->err, &conn->last_error);
    }
    return status == TVCI_SUCCESS && conn->bulk_error ? TVCI_ERROR : status;
}

static int32_t Reindex(TVCIStmt *stmt, Connection *conn, const char *table) {
    char text[COMMAND_BYTES];
    snprintf(text, sizeof(text), "REINDEX %s.*", table);
    uint8_t letter;
    if (!Command(conn, text, &letter)) return TVCI_CONNECTION_LOST;
    if (letter != MSG_ERROR) return TVCI_SUCCESS;
    const int32_t status = ReadRefusal(stmt, conn);
    if (status == TVCI_ERROR) {
        ConnReadChar(conn, &letter);
    }
    return status;
}

// The exchange with the connection's permit held; true where the permit is to be given back. It is
// kept where the server refuses the command: nobody has read that answer to its end, and no request
// may follow on this connection.
static bool Exchange(TVCIStmt *stmt, RowBuffer *buffer, const char *command, const BulkRows *rows,
                     const char *reindex_table, int32_t *status) {
    uint8_t letter;
    *status = TVCI_CONNECTION_LOST;
    if (!Command(buffer->conn, command, &letter)) return true;
    if (letter == MSG_ERROR) {
        *status = ReadRefusal(stmt, buffer->conn);
        return *status != TVCI_ERROR;
    }
    *status = Stream(stmt, buffer, rows);
    if (reindex_table != NULL && *status != TVCI_CONNECTION_LOST) {
        const int32_t reindexed = Reindex(stmt, buffer->conn, reindex_table);
        *status = reindexed == TVCI_SUCCESS ? *status : reindexed;
    }
    return true;
}

// Sends the command, the rows and, where `reindex_table` is set, the REINDEX of that table.
static int32_t Transfer(TVCIStmt *stmt, Connection *conn, const char *command, const BulkRows *rows,
                        const char *reindex_table) {
    RowBuffer buffer;
    if (!RowBufferInit(&buffer, conn, rows->column_count)) return TVCI_NO_MEMORY;
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    int32_t status;
    if (Exchange(stmt, &buffer, command, rows, reindex_table, &status)) {
        SemaphoreRelease(&conn->use_semaphore);
    }
    RowBufferFree(&buffer);
    return status;
}

// What all four operations check last: the command's room, the rows and the connection.
static int32_t CheckAndTransfer(TVCIStmt *stmt, const char *command, int command_bytes,
                                const BulkRows *rows, const char *reindex_table) {
    if (command_bytes < 0 || (size_t)command_bytes >= COMMAND_BYTES) return TVCI_ERROR;
    if (!RowsAreSendable(rows)) return TVCI_ERROR;
    Connection *conn = stmt->session->conn;
    if (conn == NULL) return TVCI_CONNECTION_LOST;
    return Transfer(stmt, conn, command, rows, reindex_table);
}

static int32_t Load(TVCIStmt *stmt, const BulkRows *rows, const char *table, int32_t parallel_first,
                    int32_t parallel_second, int32_t load_mode, uint8_t reindex) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (rows->row_count < 1 || rows->column_count < 1 || table == NULL) return TVCI_ERROR;
    if (load_mode < 1 || load_mode >= LOAD_MODES) {
        return Refuse(stmt, "TVCIExecLoad load_mode not within the scope\r");
    }
    char command[COMMAND_BYTES];
    const int bytes = snprintf(command, sizeof(command), load_command_table[load_mode], table,
                               (int)parallel_first, (int)parallel_second);
    return CheckAndTransfer(stmt, command, bytes, rows, reindex ? table : NULL);
}

static int32_t Import(TVCIStmt *stmt, const BulkRows *rows, const char *table, int32_t load_mode,
                      uint32_t use_mode, uint8_t reindex) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    if (rows->row_count < 1 || rows->column_count < 1 || table == NULL) return TVCI_ERROR;
    if (use_mode != USE_MODE_FIRST && use_mode != USE_MODE_NO_REINDEX) {
        return Refuse(stmt, "TVCIExecLoad use_mode not within the scope\r");
    }
    if (load_mode < 0 || load_mode >= LOAD_MODES) {
        return Refuse(stmt, "TVCIExecLoad load_mode not within the scope\r");
    }
    char command[COMMAND_BYTES];
    const int bytes =
        snprintf(command, sizeof(command), import_command_table[load_mode], table, (int)use_mode);
    const bool reindexes = reindex && use_mode != USE_MODE_NO_REINDEX;
    return CheckAndTransfer(stmt, command, bytes, rows, reindexes ? table : NULL);
}

int32_t TVCIExecLoad(TVCIStmt *stmt, const void *data, const int32_t *const *lengths,
                     int32_t row_count, int32_t column_count, const char *table,
                     int32_t parallel_first, int32_t parallel_second, int32_t load_mode,
                     uint8_t reindex) {
    const BulkRows rows = {(const uint8_t *)data, lengths, NULL, row_count, column_count};
    return Load(stmt, &rows, table, parallel_first, parallel_second, load_mode, reindex);
}

int32_t TVCIExecLoadFlat(TVCIStmt *stmt, const void *data, const int32_t *lengths,
                         int32_t row_count, int32_t column_count, const char *table,
                         int32_t parallel_first, int32_t parallel_second, int32_t load_mode,
                         uint8_t reindex) {
    const BulkRows rows = {(const uint8_t *)data, NULL, lengths, row_count, column_count};
    return Load(stmt, &rows, table, parallel_first, parallel_second, load_mode, reindex);
}

int32_t TVCIExecImport(TVCIStmt *stmt, const void *data, const int32_t *const *lengths,
                       int32_t row_count, int32_t column_count, const char *table,
                       int32_t load_mode, uint32_t use_mode, uint8_t reindex) {
    const BulkRows rows = {(const uint8_t *)data, lengths, NULL, row_count, column_count};
    return Import(stmt, &rows, table, load_mode, use_mode, reindex);
}

int32_t TVCIExecImportFlat(TVCIStmt *stmt, const void *data, const int32_t *lengths,
                           int32_t row_count, int32_t column_count, const char *table,
                           int32_t load_mode, uint32_t use_mode, uint8_t reindex) {
    const BulkRows rows = {(const uint8_t *)data, NULL, lengths, row_count, column_count};
    return Import(stmt, &rows, table, load_mode, use_mode, reindex);
}
