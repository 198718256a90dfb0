// The seam below the buffers: a test's own send and receive in place of the system's.
#pragma once

#include "platform/socket.h"

// True when a hook has answered in the system's place, with its answer in `*result`; false outside
// tests.
bool SocketSendHooked(SocketId socket, const void *bytes, size_t count, int64_t *result);
bool SocketReceiveHooked(SocketId socket, void *bytes, size_t count, int64_t *result);
