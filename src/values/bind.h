// The bind table and the define table of a statement. The calls are declared in tavu/tvci.h.
#pragma once

#include "records/statement.h"

// Unlinks and frees the bind of one parameter, if it has one.
void BindFree(ParamRecord *param);

// Frees all parameters with their names and binds; no parameters remain.
void ParamsFree(TVCIStmt *stmt);

// Frees an array of parameter records with their names and leaves the binds on the statement's list.
void ParamArrayFree(ParamRecord *params, int32_t count);

// Frees the define table.
void DefinesFree(TVCIStmt *stmt);

// Forgets the define of a column (index from 0), or the bind of a position (from 1) or name, whose
// buffer is about to go. The define is dropped; the parameter becomes unbound.
void DefineForget(TVCIStmt *stmt, int32_t column);
void BindForget(TVCIStmt *stmt, const void *value);
