// LOAD and IMPORT: a table's worth of rows in one stream, past the statements.
#pragma once

#include "server/execute.h"

namespace tavud {

// Runs a LOAD or IMPORT: answers that rows may come, reads them to the end of their stream and
// writes what is to be said of them; the caller ends the answer. Throws StatementRefused before the
// stream has begun, BadFrame when it cannot be followed.
void RunBulk(Workplace *place, const Statement &statement);

}  // namespace tavud
