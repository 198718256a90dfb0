// Rows: the field list and the row stream of a response, and the index that finds a stored row.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/result.h"
#include "records/statement.h"

// Makes a result of the statement that is in no list yet; NULL when memory is short.
ResultSet *ResultSetCreate(TVCIStmt *stmt);
// Appends a result at the tail of its statement's list.
void ResultSetAppend(ResultSet *result);
// Makes a result at the tail of the statement's list; NULL when memory is short.
ResultSet *NewResultSet(TVCIStmt *stmt);
// Frees what the result owns, not the record, which is ready for another field list afterwards.
void FreeResultSet(ResultSet *result);

// Reads one column description: 0, -4 or -5. On failure the description owns nothing.
int32_t ReadField(Connection *conn, FieldDesc *desc);
// Reads the count and the descriptions of a field list: 0, -4 or -5. On failure there are no
// descriptions, but the count if that came; otherwise the array is the caller's, to be freed with
// FieldsFree.
int32_t ReadFields(Connection *conn, int32_t *count, FieldDesc **fields);
// Reads the field list of a result and lays out its rows: 0, -4 or -5. On failure the result has no
// fields, even if `field_count` says otherwise. What the result held before is freed.
int32_t ReadFieldList(ResultSet *result);
// Frees the texts of the fields and the array. NULL is ignored.
void FieldsFree(FieldDesc *fields, int32_t count);

// Keeps the text of an error, a message or a warning, from behind the letter. 0, or -4 or -5 when
// no text came; one that came and cannot be kept is lost.
int32_t ReadNotice(Connection *conn, TVCIStmt *stmt);

// 0 with a row in `*row_out`; 101 with NULL when the stream ended, the letter that ended it pushed
// back; -4 or -5 with NULL. The result has an arena.
int32_t ReadRow(ResultSet *result, RowImage **row_out);
// Reads at most FIRST_ROWS_MAX rows and returns how many came.
int32_t ReadFirstRows(ResultSet *result);
// Reads all rows that are left, and the letter behind them. Returns 0 when that ended the response;
// the statement and the result may be gone then. Otherwise -1.
int32_t ReadRemainingRows(ResultSet *result);
// The background row reader; `argument` is the ResultSet.
void BackgroundReaderEntry(void *argument);

// Stores and counts a row. 0, or -5 when no block can be had for it: the row is lost.
int32_t AppendRow(ResultSet *result, RowImage *row);
// A block begins with a row whose number this divides; the place of any other row is behind the
// place of the row before.
constexpr int32_t ROW_RUN = 1000;
// The place of row n, NULL when its block could not be had; a row that no store can hold ends the
// process. Another thread than the row reader asks under the statement's lock.
RowImage **RowSlot(ResultSet *result, int64_t n);
// Frees the index with its blocks; the store is empty afterwards.
void RowStoreFree(RowStore *store);

// Waits until the row at `position` is at a safe distance from the statement's row reader, or the
// reader is through.
void WaitRowsAhead(const TVCIStmt *stmt, const ResultSet *result, int64_t position);
