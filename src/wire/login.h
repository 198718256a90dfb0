// The login: one text line out, the server's verdict in.
#pragma once

#include <cstdint>

#include "records/connection.h"

// Logs on over a connected socket. On false the connection's `last_error` holds the reason and the
// socket is closed. `attr->version` takes the version that the server answered to.
bool TVCILogin(Connection *conn, const char *database, ConnAttr *attr);
