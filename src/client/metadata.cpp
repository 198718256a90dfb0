// Answers to describe questions, read from the results of a statement and the type catalogue.
#include "client/metadata.h"

#include <cstdio>
#include <cstring>

#include "client/attributes.h"
#include "platform/text.h"
#include "platform/wait.h"
#include "values/types.h"

enum ResultAttribute {
    RESULT_COLUMN_COUNT = 61,
    RESULT_ROW_COUNT = 62,
    RESULT_AFFECTED = 63,
    RESULT_ROW_WORD = 64
};

enum ColumnAttribute {
    COLUMN_NAME = 50,
    COLUMN_MODE = 51,
    COLUMN_ALIAS = 52,
    COLUMN_SIZE = 53,
    COLUMN_DISPLAY_SIZE = 54,
    COLUMN_TYPE_TEXT = 55,
    COLUMN_IS_TEXT_MODE = 56,
    COLUMN_IS_CHAR = 57,
    COLUMN_PRECISION = 58,
    COLUMN_SCALE = 59,
    COLUMN_FLAG_2 = 60,
    COLUMN_FIRST_SILENT = 61,
    COLUMN_LAST_SILENT = 64,
    COLUMN_SQL_TYPE = 65,
    COLUMN_IS_VARCHAR = 66
};

constexpr int32_t COLUMN_FLAG_2_MASK = 2;
constexpr int32_t COLUMN_VARCHAR_MASK = 1024;

// Polling steps that the row count is waited for.
constexpr int32_t ROW_COUNT_STEPS = 30;

// Display widths that the catalogue does not give.
constexpr int32_t WIDTH_UNBOUNDED = 65536;
constexpr int32_t WIDTH_DATETIME = 28;
constexpr int32_t WIDTH_OTHER = 40;

// The result that is described: the one being read, or before an execution the first that the
// prepare left.
static const ResultSet *DescribedResult(const TVCIStmt *stmt) {
    if (stmt->current != NULL) return stmt->current;
    if (stmt->results.next == &stmt->results) return NULL;
    return (const ResultSet *)stmt->results.next;
}

static int32_t GetRowCount(const TVCIStmt *stmt, void *value) {
    bool complete = stmt->rows_complete.load(std::memory_order_acquire) != 0;
    for (int32_t step = 0; step < ROW_COUNT_STEPS && !complete; step++) {
        WaitStep(WAIT_ROW_COUNT);
        complete = stmt->rows_complete.load(std::memory_order_acquire) != 0;
    }
    int64_t row_count = stmt->current->store.row_count.load(std::memory_order_acquire);
    memcpy(value, &row_count, sizeof(row_count));
    return complete ? 0 : -14;
}

int32_t StmtMetadataGet(const TVCIStmt *stmt, int32_t attribute, void *value) {
    // Rows are counted only of a result that was executed: none would ever come for another.
    const ResultSet *result = attribute == RESULT_ROW_COUNT ? stmt->current : DescribedResult(stmt);
    if (result == NULL) {
        AttrWriteWord(value, 0);
        return 0;
    }
    switch (attribute) {
        case RESULT_COLUMN_COUNT: AttrWriteWord(value, result->field_count); return 0;
        case RESULT_ROW_COUNT: return GetRowCount(stmt, value);
        case RESULT_AFFECTED:
            if (stmt->rows_complete.load(std::memory_order_acquire) != 0) {
                AttrWriteWord(value, (int32_t)result->affected);
            }
            return 0;
        case RESULT_ROW_WORD:
            AttrWriteWord(value, (int32_t)result->store.row_count.load(std::memory_order_acquire));
            return 0;
        default: return -6;
    }
}

static int32_t DisplayWidth(const FieldDesc *field) {
    if (field->type == TYPE_CHAR) return field->size > 0 ? field->size : WIDTH_UNBOUNDED;
    if (field->type < TYPE_DATE) return TypeFixedSize(field->type);
    if (field->type == TYPE_DATETIME) return WIDTH_DATETIME;
    if (field->type == TYPE_BINARY) return WIDTH_UNBOUNDED;
    if (field->type >= TYPE_CHAR) return field->size;
    return WIDTH_OTHER;
}

static void FormatType(const FieldDesc *field, char text[COLUMN_TEXT_BYTES]) {
    if (field->type == TYPE_NUMERIC && field->size != -1) {
        snprintf(text, COLUMN_TEXT_BYTES, "%s(%d,%d)", TypeName(field->type), field->size >> 16,
                 field->size & 0xFFFF);
    } else if (field->type != TYPE_CHAR) {
        snprintf(text, COLUMN_TEXT_BYTES, "%s", TypeName(field->type));
    } else if (field->size == -1) {
        snprintf(text, COLUMN_TEXT_BYTES, "VARCHAR");
    } else if ((field->flags & COLUMN_VARCHAR_MASK) != 0) {
        snprintf(text, COLUMN_TEXT_BYTES, "VARCHAR(%d)", field->size);
    } else if (field->size == 1) {
        snprintf(text, COLUMN_TEXT_BYTES, "CHAR");
    } else {
        snprintf(text, COLUMN_TEXT_BYTES, "CHAR(%d)", field->size);
    }
}

static void StoreLength(int32_t *length, int32_t bytes) {
    if (length != NULL) {
        *length = bytes;
    }
}

// Writes no more than the text and its terminator; a longer text than the room is cut.
static int32_t PutText(const char *text, void *value, int32_t *length) {
    size_t bytes = strlen(text);
    if (bytes > (size_t)COLUMN_TEXT_BYTES - 1) {
        bytes = (size_t)COLUMN_TEXT_BYTES - 1;
    }
    TextCopyBytes((char *)value, bytes + 1, text, bytes);
    StoreLength(length, (int32_t)bytes);
    return 0;
}

static int32_t PutType(const FieldDesc *field, void *value, int32_t *length) {
    char text[COLUMN_TEXT_BYTES];
    FormatType(field, text);
    return PutText(text, value, length);
}

// A word whose length is reported; the other words leave the length alone.
static int32_t PutWord(int32_t word, void *value, int32_t *length) {
    AttrWriteWord(value, word);
    StoreLength(length, (int32_t)sizeof(word));
    return 0;
}

static int32_t PutScale(const FieldDesc *field, void *value, int32_t *length) {
    switch (field->type) {
        case TYPE_NUMERIC: return PutWord(field->size & 0xFFFF, value, length);
        case TYPE_BINARY:
        case TYPE_CHAR: return PutWord(field->size, value, length);
        default: return -9;
    }
}

int32_t ColumnMetadataGet(const ColumnHandle *column, int32_t attribute, void *value,
                          int32_t *length) {
    const FieldDesc *field = column->field;
    if (attribute >= COLUMN_FIRST_SILENT && attribute <= COLUMN_LAST_SILENT) return 0;
    switch (attribute) {
        case COLUMN_NAME: return PutText(field->name, value, length);
        case COLUMN_MODE: AttrWriteWord(value, field->app_type); return 0;
        case COLUMN_ALIAS:
            return PutText(field->attribute != NULL ? field->attribute : field->name, value,
                           length);
        case COLUMN_SIZE:
        case COLUMN_DISPLAY_SIZE: AttrWriteWord(value, DisplayWidth(field)); return 0;
        case COLUMN_TYPE_TEXT: return PutType(field, value, length);
        case COLUMN_IS_TEXT_MODE: return PutWord(field->app_type == 2, value, length);
        case COLUMN_IS_CHAR: return PutWord(field->type == TYPE_CHAR, value, length);
        case COLUMN_PRECISION:
            if (field->type != TYPE_NUMERIC) return -9;
            return PutWord(field->size >> 16, value, length);
        case COLUMN_SCALE: return PutScale(field, value, length);
        case COLUMN_FLAG_2: return PutWord((field->flags & COLUMN_FLAG_2_MASK) != 0, value, length);
        case COLUMN_SQL_TYPE: AttrWriteWord(value, TypeToSqlType(field->type)); return 0;
        case COLUMN_IS_VARCHAR:
            return PutWord((field->flags & COLUMN_VARCHAR_MASK) != 0, value, length);
        default: return -6;
    }
}
