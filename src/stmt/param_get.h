// The column descriptors of a statement, which TVCIParamGet hands out.
#pragma once

#include "records/statement.h"

// Lets the descriptors that were handed out describe the columns of `result`, the block of rows
// that took the place of theirs.
void ColumnHandlesMove(TVCIStmt *stmt, const ResultSet *result);
