// Typed reads of a result that was handed out: the next row, and its columns one by one.
#include <cstdint>

#include "records/statement.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "values/decode.h"

// What the text reads give as the size of a text; nothing is cut at it.
constexpr int32_t TEXT_SIZE = 8000;

static int32_t EndOfResult(ResultSet *result) {
    result->current_row = NULL;
    return 0;
}

int32_t ResultNext(ResultSet *result) {
    if (result == NULL) return 0;
    const int64_t row_count = result->store.row_count.load(std::memory_order_acquire);
    const int32_t position = result->position;
    // A result whose statement has released it has no rows.
    if (row_count == 0 || position == row_count || position == INT32_MAX) {
        return EndOfResult(result);
    }
    // Like a fetch, a read stays behind a row reader that is still running.
    TVCIStmt *stmt = result->statement;
    WaitRowsAhead(stmt, result, position);
    MutexLock(&stmt->lock);
    RowImage **slot = RowSlot(result, position);
    MutexUnlock(&stmt->lock);
    result->current_row = slot == NULL ? NULL : *slot;
    result->position = position + 1;
    return 1;
}

static bool HasColumn(const ResultSet *result, int32_t column) {
    return result != NULL && column >= 1 && column <= result->field_count;
}

const char *ResultGetString(ResultSet *result, int32_t column) {
    if (!HasColumn(result, column)) return NULL;
    char *text = NULL;
    int32_t length;
    ConvertColumnToText(result, TVCI_C_CHAR, column - 1, &text, TEXT_SIZE, &length);
    return text;
}

float ResultGetFloat(ResultSet *result, int32_t column) {
    if (!HasColumn(result, column)) return -1.0f;
    float value = 0;
    ConvertColumn(result, TVCI_C_FLOAT, column - 1, &value, sizeof(value), NULL);
    return value;
}

int32_t ResultGetInt(ResultSet *result, int32_t column) {
    if (!HasColumn(result, column)) return -1;
    int32_t value = 0;
    ConvertColumn(result, TVCI_C_INT, column - 1, &value, sizeof(value), NULL);
    return value;
}
