// The response loop: the one place that knows the whole grammar of a server response.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/statement.h"

int32_t ReadResponse(TVCIStmt *stmt);
// Waits for the end of the response, then frees all results of the statement.
void ReleaseResults(TVCIStmt *stmt);
// Runs a command whose answer carries nothing: 0, -1, -3, -4 or -5.
int32_t RunSimpleCommand(Connection *conn, const char *text);
