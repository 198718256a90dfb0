// Fetching ahead: a thread that fetches the next block of a server cursor while the application
// reads the current one. The two sides hand over whole blocks by the state in AheadShare.
#pragma once

#include "records/statement.h"

// The state of the statement's fetch-ahead reader.
inline int32_t AheadStateOf(const TVCIStmt *stmt) {
    if (stmt->ahead == NULL) return AHEAD_MAY_START;
    return stmt->ahead->state.load(std::memory_order_acquire);
}

// Reads the response to a FETCH into `result`, which need not be in a list. The caller holds the
// permit. Returns 0, whatever errors the server told: they are kept. -1 for an unknown letter; -4
// for a lost connection, -24 when it was replaced; -4, -5 or 1 when an item was cut short. Leaves
// the response open, with 0, when a full block is not followed by the end, and at an item that is
// neither rows nor text.
int32_t ReadFetchResponse(TVCIStmt *stmt, ResultSet *result);

// Fetches the first block of a cursor and, when it is full, starts the reader. 0 with rows in the
// current result; 100 without; -5 when memory is short: nothing has been sent then.
int32_t FetchFirstAhead(TVCIStmt *stmt);

// Makes the block that the reader has fetched the current result, and waits for it. 0, or 100 when
// there is none.
int32_t TakeAheadBlock(TVCIStmt *stmt);

// The fetch-ahead reader; `argument` is the AheadShare, of which the thread is a holder.
void FetchAheadEntry(void *argument);

// Gives up a hold. NULL is ignored.
void AheadShareRelease(AheadShare *share);
