// Prepare, the scan for parameter markers, and taking the server-side state down again.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/statement.h"

// The longest statement text, so that a command built around it keeps a length that the wire can
// tell. A longer one counts as one that no memory can be had for.
constexpr int32_t SQL_TEXT_BYTES_MAX = INT32_MAX - 64;

// An owned copy; `length` -1 means the text's own, a NULL text gives "". NULL when memory is short.
char *CopySqlText(const char *text, int32_t length);

// Replaces the statement's text by a copy. False when memory is short; the statement has no text
// then.
bool StmtSetText(TVCIStmt *stmt, const char *text, int32_t length);

// Makes the statement's parameters from the markers in its text. False when question marks and
// names are mixed or memory is short; the statement then has an error, its own or an older one.
bool ParamScan(TVCIStmt *stmt);

// Scans again before a direct execution and moves the binds over to the new parameters. False when
// they do not fit the text.
bool ParamsForDirect(TVCIStmt *stmt);

// Reads the parameter descriptions of the server and throws them away: 0, -4 or -5.
int32_t ReadParamDescs(Connection *conn);

// Drops the results and the parameters, and the statement that the server keeps under its name.
void DeallocatePrepared(TVCIStmt *stmt);

// Closes the cursor and drops the prepared statement on the server, when the statement closes.
void CloseStatementServerState(TVCIStmt *stmt);
