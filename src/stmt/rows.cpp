// The row stream: rows from the wire into a result, by the caller and by the background reader.
#include "stmt/rows.h"

#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "stmt/letters.h"
#include "tavu/tvci.h"
#include "values/arena.h"
#include "values/types.h"
#include "wire/read_window.h"

ResultSet *ResultSetCreate(TVCIStmt *stmt) {
    ResultSet *result = (ResultSet *)MemAlloc(sizeof(ResultSet));
    if (result == NULL) return NULL;
    result->statement = stmt;
    return result;
}

void ResultSetAppend(ResultSet *result) {
    TVCIStmt *stmt = result->statement;
    ResultLink *tail = &stmt->results;
    while (tail->next != &stmt->results) {
        tail = tail->next;
    }
    result->link.next = &stmt->results;
    tail->next = &result->link;
}

ResultSet *NewResultSet(TVCIStmt *stmt) {
    ResultSet *result = ResultSetCreate(stmt);
    if (result == NULL) return NULL;
    ResultSetAppend(result);
    return result;
}

void FreeResultSet(ResultSet *result) {
    RowStoreFree(&result->store);
    result->next_slot = NULL;
    FieldsFree(result->fields, result->field_count);
    result->fields = NULL;
    ArenaFree(result->arena);
    result->arena = NULL;
    result->current_row = NULL;
}

int32_t ReadNotice(Connection *conn, TVCIStmt *stmt) {
    char *text;
    const int32_t status = ConnReadString(conn, &text);
    if (status != TVCI_SUCCESS) return status;
    ErrInfoFromServer(&stmt->err, text);
    MemFree(text);
    return TVCI_SUCCESS;
}

// Reads on to the letter that opens a row: 0. 101 with any other letter pushed back, -4 or -5.
static int32_t ReadRowLetter(ReadWindow *window, TVCIStmt *stmt, uint8_t *letter) {
    while (WindowReadChar(window, letter)) {
        switch (*letter) {
            case MSG_ROW:
            case MSG_MARKED_ROW: return TVCI_SUCCESS;
            case MSG_ERROR:
            case MSG_ERROR_OTHER:
            case MSG_MESSAGE:
            case MSG_WARNING: {
                WindowClose(window);
                const int32_t status = ReadNotice(window->conn, stmt);
                *window = WindowOpen(window->conn);
                if (status != TVCI_SUCCESS) return status;
                break;
            }
            default: window->conn->pushback = *letter; return TVCI_ROWS_END;
        }
    }
    return TVCI_CONNECTION_LOST;
}

// Reads a bookmark into the row's header. Its bytes never go through the cipher; what is beyond the
// header's room is passed over.
static bool ReadBookmark(ReadWindow *window, RowImage *row) {
    uint32_t wire_length;
    if (!WindowReadInt32(window, &wire_length)) return false;
    const int32_t length = (int32_t)wire_length;
    const int32_t kept = length < ROW_BOOKMARK_BYTES ? length : ROW_BOOKMARK_BYTES;
    WindowClose(window);
    const bool read = ConnReadExact(window->conn, row + ROW_BOOKMARK_OFFSET, kept) &&
                      ConnSkip(window->conn, length - kept);
    *window = WindowOpen(window->conn);
    return read;
}

// Reads a value of `length` bytes into the arena and points the slot at it.
static inline int32_t ReadVariable(ReadWindow *window, RowArena *arena, uint8_t *slot,
                                   int32_t length) {
    uint8_t *bytes = (uint8_t *)ArenaAlloc(arena, length);
    if (bytes == NULL) return TVCI_NO_MEMORY;
    if (!WindowReadBytes(window, bytes, length)) return TVCI_CONNECTION_LOST;
    bytes[length] = '\0';
    RowStoreExternal(slot, bytes, length);
    return TVCI_SUCCESS;
}

// Reads a value of 1, 2, 4 or 8 bytes in host order into the slot; its length word means nothing.
static inline bool ReadFixed(ReadWindow *window, uint8_t *slot, int32_t width) {
    uint16_t word16;
    uint32_t word32;
    uint64_t word64;
    switch (width) {
        case 1: return WindowReadChar(window, slot);
        case 2:
            if (!WindowReadInt16(window, &word16)) return false;
            memcpy(slot, &word16, sizeof(word16));
            return true;
        case 4:
            if (!WindowReadInt32(window, &word32)) return false;
            memcpy(slot, &word32, sizeof(word32));
            return true;
        default:
            if (!WindowReadInt64(window, &word64)) return false;
            memcpy(slot, &word64, sizeof(word64));
            return true;
    }
}

// Fills the slots of a row of NULLs. The status bits of four columns are gathered and written as
// one byte: to clear them one by one in memory would make each column wait for the one before.
static inline int32_t ReadColumns(ReadWindow *window, const ResultSet *result, RowImage *row) {
    uint8_t *status_byte = row + ROW_HEADER_BYTES;
    uint32_t status_bits = 0;
    uint32_t null_bit = 1;
    const FieldDesc *field = result->fields;
    for (int32_t column = 0; column < result->field_count; column++, field++) {
        uint32_t wire_length;
        if (!WindowReadInt32(window, &wire_length)) return TVCI_CONNECTION_LOST;
        const int32_t length = (int32_t)wire_length;
        uint8_t *slot = RowSlotAddress(row, field);
        const int32_t width = TypeFixedSize(field->type);
        if (length < 1) {
            status_bits |= null_bit;
        } else if (width < EXTERNAL_SLOT_BYTES) {
            if (!ReadFixed(window, slot, width)) return TVCI_CONNECTION_LOST;
        } else {
            const int32_t status = ReadVariable(window, result->arena, slot, length);
            if (status != TVCI_SUCCESS) return status;
            status_bits |= null_bit << 1;
        }
        null_bit <<= 2;
        if (null_bit == 1 << 8) {
            *status_byte++ = (uint8_t)status_bits;
            status_bits = 0;
            null_bit = 1;
        }
    }
    if (null_bit != 1) {
        *status_byte = (uint8_t)status_bits;
    }
    return TVCI_SUCCESS;
}

static inline int32_t ReadRowInWindow(ReadWindow *window, ResultSet *result, RowImage **row_out) {
    uint8_t letter;
    int32_t status = ReadRowLetter(window, result->statement, &letter);
    if (status != TVCI_SUCCESS) return status;
    RowImage *row = RowCreate(result->arena, result->row_size, result->field_count);
    if (row == NULL) return TVCI_NO_MEMORY;
    if (letter == MSG_MARKED_ROW && !ReadBookmark(window, row)) return TVCI_CONNECTION_LOST;
    status = ReadColumns(window, result, row);
    if (status == TVCI_SUCCESS) {
        *row_out = row;
    }
    return status;
}

int32_t ReadRow(ResultSet *result, RowImage **row_out) {
    *row_out = NULL;
    ReadWindow window = WindowOpen(result->conn);
    const int32_t status = ReadRowInWindow(&window, result, row_out);
    WindowClose(&window);
    return status;
}

int32_t ReadFirstRows(ResultSet *result) {
    if (result->arena == NULL) {
        result->arena = ArenaCreate();
    }
    if (result->arena == NULL) return 0;
    int32_t rows = 0;
    RowImage *row;
    while (rows < FIRST_ROWS_MAX && ReadRow(result, &row) == TVCI_SUCCESS) {
        // A row that cannot be stored is lost; it was read all the same.
        AppendRow(result, row);
        rows++;
    }
    return rows;
}

int32_t ReadRemainingRows(ResultSet *result) {
    TVCIStmt *stmt = result->statement;
    Connection *conn = result->conn;
    RowImage *row;
    while (ReadRow(result, &row) == TVCI_SUCCESS) {
        AppendRow(result, row);
    }
    uint8_t letter;
    const bool came = ConnReadChar(conn, &letter);
    if (came && letter == MSG_END) {
        MutexDestroy(&result->count_lock);
        stmt->rows_complete.store(1, std::memory_order_release);
        // From here on the results may be released.
        stmt->response_done.store(1, std::memory_order_release);
        return TVCI_SUCCESS;
    }
    if (came) {
        conn->pushback = letter;
    }
    stmt->response_done.store(0, std::memory_order_release);
    stmt->rows_complete.store(1, std::memory_order_release);
    return TVCI_ERROR;
}

void BackgroundReaderEntry(void *argument) {
    ResultSet *result = (ResultSet *)argument;
    // The result may be gone when its rows have been read.
    Connection *conn = result->conn;
    ReadRemainingRows(result);
    SemaphoreRelease(&conn->use_semaphore);
}
