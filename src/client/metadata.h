// Answers to describe questions: statement codes 61 to 64 and the column codes.
#pragma once

#include <cstdint>

#include "records/statement.h"

// Answers a statement code: 0, -6 for a code that is none, or -14 when the row count is still
// growing after the longest wait. Without a result every code reads as a 32-bit 0.
int32_t StmtMetadataGet(const TVCIStmt *stmt, int32_t attribute, void *value);

// Bytes that a text of a column takes at most at `value`, with its terminator.
constexpr int32_t COLUMN_TEXT_BYTES = 128;

// Answers a column code: 0, -6 for a code that is none, or -9 when the column's type has no such
// property. Texts go to `value` with their terminator. `length` may be NULL; not every code sets
// it.
int32_t ColumnMetadataGet(const ColumnHandle *column, int32_t attribute, void *value,
                          int32_t *length);
