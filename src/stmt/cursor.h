// Server cursors: what a statement sends to declare, open, fetch from and close its cursor.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/connection.h"
#include "records/statement.h"

// Room for a command that carries the names of a cursor and its statement.
constexpr size_t CURSOR_COMMAND_BYTES = 64;

// Builds the command that declares the cursor of a prepared statement. A cursor that is still open
// is closed first, and its name is used again. False when memory is short.
bool CursorDeclare(TVCIStmt *stmt, char command[CURSOR_COMMAND_BYTES]);

// Sends the command that opens the cursor. The caller holds the permit.
void CursorSendOpen(const TVCIStmt *stmt, Connection *conn);

// Sends the command that fetches the next block. The caller holds the permit.
void CursorSendFetch(const TVCIStmt *stmt, Connection *conn);

// Closes the cursor, which is open, and keeps its name.
void CursorClose(TVCIStmt *stmt);

// Puts the next block of rows into the place of the current result, whose rows are used up. 0 with
// rows there; 100 at the end, which a statement without an open cursor has reached; -5 when memory
// is short.
int32_t CursorNextBlock(TVCIStmt *stmt);

// What a fetch does at the end of the data. `result` may be NULL. Returns 100.
int32_t EndOfRows(ResultSet *result);
