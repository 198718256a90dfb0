// The steps that every execution of a statement has, whatever its request and its response are.
#pragma once

#include "records/connection.h"
#include "records/statement.h"

// The request is out: its response is open from here on. The caller holds the permit.
void BeginAnswer(TVCIStmt *stmt);

// Reads the response to a request that is out and makes its first result the current one. The
// caller holds the permit of `conn`, which is released unless a row reader has taken it over.
// Returns as ReadResponse.
int32_t ReadAnswer(TVCIStmt *stmt, Connection *conn, bool link_results);

// Makes the first result of the response, if there is one, the current result. With `link_results`
// the second one becomes the result that TVCINextResult goes on to.
void TakeFirstResult(TVCIStmt *stmt, bool link_results);

// Ends a direct execution whose request did not get out. The caller holds the permit of `conn`;
// that of the connection which the statement has afterwards is released. Returns -24, or -4 when
// there is no connection.
int32_t EndUnsent(TVCIStmt *stmt, Connection *conn);
