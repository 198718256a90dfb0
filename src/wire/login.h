// The login: one text line out, the server's verdict in, in the clear or enciphered.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/connection.h"

// Room for what a login sends: the text with its terminator, behind the session key when it is
// enciphered. A text beyond its room ends the process.
constexpr size_t LOGIN_MESSAGE_BYTES = 512;

// Logs on over a connected socket, enciphered when `attr->use_ssl` is set: the whole conversation
// is enciphered from then on. `attr->version` takes the version that the server answered to. On
// false the connection's `last_error` holds the reason and the socket is closed, but for two cases:
// a NULL argument, and an enciphered login that is cut short before the server's key has come. That
// one leaves the socket open and `last_error` as it was.
bool TVCILogin(Connection *conn, const char *database, ConnAttr *attr);

// Returns `low` plus a random part of `high`. The process's first call seeds the sequence of its
// thread; a thread that comes later has a sequence of its own, the same in every process.
uint32_t LoginRandom(uint32_t low, uint32_t high);

// Spreads a NUL-terminated text in place into chunks of 30 bytes, each but the last closed by two
// bytes of 7. The buffer has room for 32 bytes for each 30 of the text, and for 30 more.
void LoginTextSplit(char *text);

// Sends the session key and the login text under the block transform. `message` has
// LOGIN_MESSAGE_BYTES: the 32 bytes of the key, then the NUL-terminated text; it is overwritten.
// False when the text is longer than 449 bytes and would have no room once it is spread; nothing is
// sent then.
bool LoginSendEnciphered(Connection *conn, uint8_t *message);

#ifdef TAVU_TEST_SEAMS
// Makes the next LoginRandom the first of the process again.
void LoginRandomForgetSeed(void);
#endif
