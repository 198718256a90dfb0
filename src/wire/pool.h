// Sessions and their connections: owned, or borrowed from the server's pool. TVCIConnect and
// TVCIDisconnect are declared in tavu/tvci.h.
#pragma once

#include "records/handles.h"

// Makes a new logged-in connection for the session; NULL with the session's error set.
Connection *TVCIOpenConnection(TVCISession *session, const char *user, const char *password);

// A second connection for the session, with the user and password of its first.
Connection *TVCISessionLoginAgain(TVCISession *session);

// Gives the defaults of a pool that belongs to a server.
void PoolInit(TVCIPool *pool, TVCIEnv *env);

// Closes what a server's pool holds, when the server is freed.
void PoolRelease(TVCIPool *pool);
