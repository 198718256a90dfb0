// The test programs' own sockets, on both systems.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uintptr_t NET_NONE = UINTPTR_MAX;

// Starts the system's socket layer, where it wants to be started: the library never does.
void NetStart();

// Listens on 127.0.0.1 and a port that the system chooses.
uintptr_t NetListen(uint16_t *port);
// Waits up to `timeout_ms` for a connection; NET_NONE when none came.
uintptr_t NetAccept(uintptr_t listener, int timeout_ms);
uintptr_t NetConnect(uint16_t port);
// Waits until something can be received (or the end); false after `timeout_ms`.
bool NetReadable(uintptr_t socket, int timeout_ms);
int64_t NetReceive(uintptr_t socket, void *bytes, size_t count);
int64_t NetSend(uintptr_t socket, const void *bytes, size_t count);
void NetClose(uintptr_t socket, bool reset);
