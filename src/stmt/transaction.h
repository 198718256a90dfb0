// Transaction commands. The calls are declared in tavu/tvci.h.
#pragma once

#include <cstdint>

#include "records/connection.h"

// 0, -1, -4 or -5. An error text goes to the session that `conn->owner` names.
int32_t RunTransCommand(Connection *conn, const char *text);
