// Prepare, the scan for parameter markers, and taking the server-side state down again.
#pragma once

#include <cstdint>

#include "records/statement.h"

// An owned copy; `length` -1 means the text's own, a NULL text gives "". NULL when memory is short.
char *CopySqlText(const char *text, int32_t length);
bool ParamScan(TVCIStmt *stmt);
bool ParamsForDirect(TVCIStmt *stmt);
// Reads the parameter descriptions of the server and throws them away: 0, -4 or -5.
int32_t ReadParamDescs(TVCIStmt *stmt);
void DeallocatePrepared(TVCIStmt *stmt);
void CloseStatementServerState(TVCIStmt *stmt);
