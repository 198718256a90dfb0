// What a socket of the client carries, asked of the system.
#pragma once

#include <cstdint>

#include "platform/socket.h"

// The receive timeout in milliseconds; 0 when there is none, -1 when the system does not tell.
int64_t ReceiveTimeoutMs(SocketId socket);

// Whether closing the socket resets the connection at once.
bool CloseResets(SocketId socket);

// What a timeout of 6000000000 milliseconds becomes: the system's form may not hold it.
int64_t LongestTimeoutMs();
