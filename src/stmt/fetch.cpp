// Fetching: one row at a time from the current result into the defined columns.
#include "platform/wait.h"
#include "stmt/cursor.h"
#include "stmt/rows.h"
#include "stmt/statement.h"
#include "values/decode.h"

void WaitRowsAhead(const TVCIStmt *stmt, const ResultSet *result, int64_t position) {
    while (!stmt->rows_complete.load(std::memory_order_acquire) &&
           position + ROWS_AHEAD >= result->store.row_count.load(std::memory_order_acquire)) {
        WaitStep(WAIT_ROWS_AHEAD);
    }
}

// The index is read under the lock, for it may be growing; the blocks that it points to never move.
static inline RowImage **NextSlot(TVCIStmt *stmt, ResultSet *result, int32_t position) {
    if (result->next_slot != NULL && position % ROW_RUN != 0) return result->next_slot;
    MutexLock(&stmt->lock);
    RowImage **slot = RowSlot(result, position);
    MutexUnlock(&stmt->lock);
    return slot;
}

int32_t TVCIFetch(TVCIStmt *stmt) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    ResultSet *result = stmt->current;
    if (result == NULL || result->kind != RESULT_ROWS) return TVCI_ERROR;
    const int64_t row_count = result->store.row_count.load(std::memory_order_acquire);
    int32_t position = result->position;
    if (row_count == 0 || position == row_count) {
        const int32_t status = CursorNextBlock(stmt);
        if (status != TVCI_SUCCESS) return status;
        result = stmt->current;
        position = result->position;
    }
    // Positions end where their width does.
    if (position == INT32_MAX) return EndOfRows(result);
    WaitRowsAhead(stmt, result, position);

    RowImage **slot = NextSlot(stmt, result, position);
    result->current_row = slot == NULL ? NULL : *slot;
    result->next_slot = slot == NULL ? NULL : slot + 1;
    const DefineRecord *defines = stmt->bound_columns;
    const int32_t define_count = stmt->bound_column_count;
    for (int32_t i = 0; i < define_count; i++) {
        ConvertColumnToDefine(result, &defines[i]);
    }
    result->position = position + 1;
    return TVCI_SUCCESS;
}

int32_t TVCIGetData(TVCIStmt *stmt, int32_t column, int32_t type, void *buffer,
                    int32_t buffer_length, int32_t *length_out) {
    if (!StmtIsLive(stmt)) return TVCI_INVALID_HANDLE;
    const bool needs_room = type == TVCI_C_CHAR || type == TVCI_C_BINARY;
    if (type < 1 || (needs_room && buffer_length < 1) || buffer == NULL) {
        return TVCI_INVALID_ARGUMENT;
    }
    ResultSet *result = stmt->current;
    if (result == NULL || result->kind != RESULT_ROWS || column < 1 ||
        column > result->field_count) {
        return TVCI_ERROR;
    }
    int32_t length;
    return ConvertColumn(result, type, column - 1, buffer, buffer_length,
                         length_out == NULL ? &length : length_out);
}
