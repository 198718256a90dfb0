// The triggers that bring the values of a table into the form in which they are stored.
#pragma once

#include <sqlite3.h>

#include "server/rewrite.h"

namespace tavud {

// Drops the table's triggers of the server, so that the table can be altered.
void DropTriggers(sqlite3 *database, const TableName &table);

// Makes them for the columns that the table has now. Both throw StatementRefused.
void MakeTriggers(sqlite3 *database, const TableName &table);

}  // namespace tavud
