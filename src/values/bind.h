// The bind table and the define table of a statement. The calls are declared in tavu/tvci.h.
#pragma once

#include "records/statement.h"

// Unlinks and frees the bind of one parameter, if it has one. The parameter is unbound then.
void BindFree(ParamRecord *param);

// Frees all parameters with their names, all binds of the statement, and the buffer in which their
// rows were gathered; no parameters remain.
void ParamsFree(TVCIStmt *stmt);

// Frees an array of parameter records with their names and leaves the binds on the statement's
// list. NULL is ignored.
void ParamArrayFree(ParamRecord *params, int32_t count);

// Frees the define table.
void DefinesFree(TVCIStmt *stmt);

// Drops the define of a column (index from 0), whose buffer is about to go. Fetches skip the column
// from then on.
void DefineForget(TVCIStmt *stmt, int32_t column);

// Forgets a bound buffer that is about to go, with the places for its length and return code. The
// parameters that were bound to it stay in the request, as NULLs, until they are bound again.
void BindForget(TVCIStmt *stmt, const void *value);
