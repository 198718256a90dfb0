// The stream cipher's place in the conversation. No login that is built makes a keystream, so bytes
// pass as they are.
#include "wire/cipher.h"

#include "platform/memory.h"

void CipherApplySend(Connection *, void *, int32_t) {}

void CipherApplyRecv(Connection *, void *, int32_t) {}

void CipherFree(Connection *conn) {
    MemFree(conn->recv_cipher);
    MemFree(conn->send_cipher);
    conn->recv_cipher = NULL;
    conn->send_cipher = NULL;
}
