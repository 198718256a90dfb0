// "get lob": the bytes of a large object that a row has named.
#pragma once

#include "server/database.h"
#include "server/execute.h"
#include "server/tokens.h"

namespace tavud {

bool IsGetLob(const TokenisedText &text);

// Writes what comes before the end of the answer: a field list, and the bytes in pieces. Throws
// StatementRefused.
void AnswerGetLob(const Workplace &place, const Database &database, const TokenisedText &text);

}  // namespace tavud
