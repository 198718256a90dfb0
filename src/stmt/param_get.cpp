// The column descriptors of a result.
#include "stmt/param_get.h"

#include <cstddef>

#include "platform/memory.h"
#include "tavu/tvci.h"

constexpr int32_t COLUMN_POSITION_MAX = 4000;

static_assert(sizeof(ColumnHandle) == 16);

// The widest of the statement's results. The descriptors of one are used for the next, and they may
// not move while the application holds them.
static int32_t FieldCountMax(const TVCIStmt *stmt) {
    int32_t count_max = 0;
    const ResultLink *link = stmt->results.next;
    for (; link != &stmt->results; link = link->next) {
        const ResultSet *result = (const ResultSet *)link;
        // A reader may be filling it.
        if (result == stmt->ahead_result) continue;
        if (result->fields != NULL && result->field_count > count_max) {
            count_max = result->field_count;
        }
    }
    return count_max;
}

static bool ColumnHandlesCreate(TVCIStmt *stmt) {
    const int32_t count = FieldCountMax(stmt);
    stmt->column_handles = (ColumnHandle *)MemAlloc((size_t)count * sizeof(ColumnHandle));
    if (stmt->column_handles == NULL) return false;
    stmt->column_handle_count = count;
    return true;
}

void ColumnHandlesMove(TVCIStmt *stmt, const ResultSet *result) {
    // What a descriptor says of a column that the new block lacks.
    static char no_name[] = "";
    static FieldDesc no_field = {NULL, no_name, NULL, 0, 0, 0, 0, 0};
    for (int32_t i = 0; i < stmt->column_handle_count; i++) {
        const bool there = result->fields != NULL && i < result->field_count;
        stmt->column_handles[i].field = there ? &result->fields[i] : &no_field;
    }
}

int32_t TVCIParamGet(TVCIStmt *stmt, int32_t attribute, void **out, int32_t position) {
    (void)attribute;
    if (stmt == NULL || stmt->type != TVCI_HTYPE_STMT) return TVCI_INVALID_HANDLE;
    if (position < 1 || position > COLUMN_POSITION_MAX || out == NULL) {
        return TVCI_INVALID_ARGUMENT;
    }
    *out = NULL;
    ResultSet *result = stmt->current;
    if (result == NULL) {
        if (stmt->results.next == &stmt->results) return TVCI_ERROR;
        result = (ResultSet *)stmt->results.next;
    }
    // A result whose field list failed has a count and no fields.
    if (position > result->field_count || result->fields == NULL) return TVCI_NO_DATA;
    if (stmt->column_handles == NULL && !ColumnHandlesCreate(stmt)) return TVCI_NO_MEMORY;
    if (position > stmt->column_handle_count) return TVCI_NO_MEMORY;
    ColumnHandle *column = &stmt->column_handles[position - 1];
    column->type = TVCI_HTYPE_COLUMN;
    column->position = position;
    column->field = &result->fields[position - 1];
    *out = column;
    return TVCI_SUCCESS;
}
