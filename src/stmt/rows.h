// Rows: the field list and the row stream of a response, and the index that finds a stored row.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/result.h"
#include "records/statement.h"

// Makes a result at the tail of the statement's list; NULL when memory is short.
ResultSet *NewResultSet(TVCIStmt *stmt);
// Frees what the result owns, not the record; `count_lock` is left alone.
void FreeResultSet(ResultSet *result);

// 0, -4 or -5.
int32_t ReadField(Connection *conn, FieldDesc *desc);
int32_t ReadFieldList(ResultSet *result);
// Frees the texts of the fields and the array.
void FieldsFree(FieldDesc *fields, int32_t count);

// 0 with a row in `*row_out`; 101 with NULL when the stream ended; -4 or -5.
int32_t ReadRow(ResultSet *result, RowImage **row_out);
// 0, or -5 when no further block can be had.
int32_t AppendRow(ResultSet *result, RowImage *row);
// The place of row n; a row that no store can hold ends the process.
RowImage **RowSlot(ResultSet *result, int64_t n);
// Reads at most FIRST_ROWS_MAX rows and returns how many came.
int32_t ReadFirstRows(ResultSet *result);
// Reads all rows that are left. 0 or -1.
int32_t ReadRemainingRows(ResultSet *result);
// The background row reader; `argument` is the ResultSet.
void BackgroundReaderEntry(void *argument);
