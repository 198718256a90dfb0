// Row values to the application's buffers.
#pragma once

#include <cstdint>

#include "records/result.h"
#include "records/statement.h"

// Converts one column of the current row into a define's buffer; the status (TVCI_VALUE_...) goes
// to its return code, the length to its return length, each unless it is NULL. A buffer is touched
// only when the status says done or truncated, and a NULL sets the length of a large object to 0.
void ConvertColumnToDefine(ResultSet *result, const DefineRecord *define);

// Converts one column (index from 0) of the current row; returns the status. `out_length` may be
// NULL. Texts, formats and the arithmetic of a cut value are not those of a define.
int32_t ConvertColumn(ResultSet *result, int32_t c_type, int32_t column, void *buffer,
                      int32_t buffer_size, int32_t *out_length);

// Reads the value of one output parameter off the wire, as a response carries it, and drops it: no
// bind takes values back. False when the socket failed.
bool ReadOutParameter(TVCIStmt *stmt);
