// The stream cipher's place in the conversation: what is applied to bytes on their way in and out.
#pragma once

#include <cstdint>

#include "records/connection.h"

// XORs the send keystream into the bytes; no keystream, no change.
void CipherApplySend(Connection *conn, void *bytes, int32_t length);

// XORs the receive keystream into the bytes; no keystream, no change.
void CipherApplyRecv(Connection *conn, void *bytes, int32_t length);

// Frees both keystreams and clears the pointers.
void CipherFree(Connection *conn);
