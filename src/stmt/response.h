// The response loop: the one place that knows the whole grammar of a server response.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/statement.h"

// Reads one response into the statement's results. Both flags of the response are clear when it is
// called, and the caller holds the connection's permit.
//   reader_started  set when a background reader took over the rest of the response and with it the
//                   permit; the caller must then not release it. The statement's flags cannot tell,
//                   for the reader may be through before they are looked at.
// Returns 0; -1, -13 or -17 for a server's error directly in front of the end, -1 for an unknown
// letter; -4 for a lost connection, -24 when it was replaced; -5 when memory is short. An item that
// is cut short never returns: its results are released, which waits for the end of this response.
int32_t ReadResponse(TVCIStmt *stmt, bool *reader_started);

// Brings back a connection that the statement's request found lost; nothing is sent again. The
// caller holds the permit of `*conn`, which becomes the connection whose permit is to be released.
// Returns -24, or -4 when there is no connection.
int32_t ReplaceConnection(TVCIStmt *stmt, Connection **conn);

// Waits for the end of the response, and for a reader that fetches ahead to leave its block alone,
// then frees all results of the statement.
void ReleaseResults(TVCIStmt *stmt);

// The first result of the statement, or NULL.
ResultSet *FirstResult(TVCIStmt *stmt);

// The result behind this one, or NULL.
ResultSet *FollowingResult(ResultSet *result);

// Runs a command whose answer carries nothing: 0, -1, -3, -4 or -5.
int32_t RunSimpleCommand(Connection *conn, const char *text);
