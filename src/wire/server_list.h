// The failover list of a server: which address is next, and which are given up.
#pragma once

#include "records/handles.h"

// Returns the address for a new connection and moves the server on to the next one of its list, for
// the next caller. Without a list the address stays.
uint32_t ServerListSelect(TVCIServer *server);

// Returns the address for a new connection and leaves the server where it is.
uint32_t ServerListCurrent(TVCIServer *server);

// Connects the socket to `conn->ip`; while that fails, drops the failed address from the server's
// list and tries another. False when no address is left.
bool ServerListConnect(TVCIServer *server, Connection *conn);

// Frees the list and clears what belongs to it.
void ServerListFree(TVCIServer *server);
