// Large values: what of a record is its own, and fetching the bytes that a descriptor names. The
// calls of the native interface are declared in tavu/tvci.h.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/values.h"

// Whether the record frees its data. Data beside a borrowed descriptor were fetched, and are its
// own.
inline bool LobOwnsData(const LobRecord *lob) {
    return lob->data != NULL && (!lob->borrowed || lob->descriptor != NULL);
}
inline bool LobOwnsDescriptor(const LobRecord *lob) {
    return lob->descriptor != NULL && !lob->borrowed && lob->remote;
}

// Copies what the record borrows, so that the rows may go. False when memory is short; the record
// is as it was then.
bool LobOwn(LobRecord *lob);

// Fetches the whole value that a descriptor names.
//   conn        logged in; its permit is taken for the exchange
//   descriptor  NUL-terminated, at least DESCRIPTOR_SIZE_OFFSET characters
//   size        in: the announced bytes; out, with 0: the bytes that came
//   data_out    set, with 0, to a new block, the caller's, of at least one byte more than was
//               announced and no less than came; what did not come is 0
// Returns 0, -4 when the connection failed or a chunk has an impossible length, -5 when memory is
// short. What is left of such an answer stays on the wire.
int32_t FetchLobData(Connection *conn, const char *descriptor, int32_t *size, uint8_t **data_out);

// A descriptor begins with the identity of its value and a separator; behind them stands the size.
constexpr int32_t DESCRIPTOR_IDENTITY_BYTES = 13;
constexpr int32_t DESCRIPTOR_SIZE_OFFSET = 14;
