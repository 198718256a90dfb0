// The SQL functions and orderings by which the database checks and compares values of the types
// that it does not have itself.
#pragma once

#include <string>

#include <sqlite3.h>

#include "server/types.h"

namespace tavud {

// Adds to a handle:
//   tavu_fits(type, size, varying, value)    1, or an error when the value does not fit its column
//   tavu_stored(type, size, varying, value)  the value in the form in which it is stored
//   one ordering for each type that has one
// Throws DatabaseFailure.
void AddFunctions(sqlite3 *database);

// The call of tavu_stored for an expression of SQL.
std::string StoredCall(const DeclaredType &type, const std::string &expression);

}  // namespace tavud
