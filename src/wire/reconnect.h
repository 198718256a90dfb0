// A new socket and a new login under a connection that was lost.
#pragma once

#include "records/handles.h"

// Returns the session's connection when a new login succeeded, else NULL. Either way the session's
// error tells what happened.
Connection *TVCIReconnect(TVCISession *session);
