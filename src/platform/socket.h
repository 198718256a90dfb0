// Sockets: TCP over IPv4, blocking. A socket of 0 means closed; no open socket is ever numbered 0.
#pragma once

#include <cstddef>
#include <cstdint>

typedef uint64_t SocketId;

constexpr uint32_t NET_ADDRESS_NONE = 0xFFFFFFFF;

// Opens a stream socket; 0 when the system refuses it.
SocketId SocketOpen(void);

// Sets the options that go before the connect: SO_REUSEADDR, TCP_NODELAY, SO_KEEPALIVE and, when
// `receive_timeout_ms` is above 0, SO_RCVTIMEO, in that order. Failures are not looked at.
void SocketSetOptions(SocketId socket, int64_t receive_timeout_ms);

// Connects, with no time limit of its own. `ip` is in network order, `port` in host order.
bool SocketConnect(SocketId socket, uint32_t ip, uint16_t port);

// Makes a later close reset the connection at once (SO_LINGER on, 0 seconds).
void SocketSetLinger(SocketId socket);

// One call of the system's send; returns its count, or -1. Raises no signal. Fails for socket 0.
int64_t SocketSend(SocketId socket, const void *bytes, size_t count);

// One call of the system's receive; returns its count, 0 at the end of the stream, or -1. Fails for
// socket 0.
int64_t SocketReceive(SocketId socket, void *bytes, size_t count);

// Does nothing for socket 0.
void SocketClose(SocketId socket);

// The address of a dotted text in network order, NET_ADDRESS_NONE when it is none. Short forms such
// as "127.1" are taken as the system takes them.
uint32_t NetAddressFromText(const char *text);

// Writes the dotted text, cut to `text_bytes` with its terminator. Returns false when it cannot.
bool NetAddressToText(uint32_t ip, char *text, size_t text_bytes);

// The first IPv4 address of a host, in network order. Returns false when there is none.
bool NetResolve(const char *host, uint32_t *ip);

#ifdef TAVU_TEST_SEAMS
// Replaces send and receive, below the buffers; NULL restores the system's.
void SocketSetHooks(int64_t (*send_hook)(SocketId, const void *, size_t),
                    int64_t (*receive_hook)(SocketId, void *, size_t));
#endif
