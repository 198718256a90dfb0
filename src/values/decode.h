// Row values to the application's buffers.
#pragma once

#include <cstdint>

#include "records/result.h"
#include "records/statement.h"

// Converts one column of the current row into a define's buffer; the status (TVCI_VALUE_...) goes
// to its return code, the length to its return length, each unless it is NULL. A buffer is touched
// only when the status says done or truncated, and a NULL sets the length of a large object to 0.
// What a large object record held before is not freed.
void ConvertColumnToDefine(ResultSet *result, const DefineRecord *define);

// Converts one column (index from 0) of the current row; returns the status. `out_length` may be
// NULL; the lengths of some large values are not told, and leave it as it was. Texts, formats and
// the arithmetic of a cut value are not those of a define. A large value whose bytes the record
// takes reads as NULL from then on.
int32_t ConvertColumn(ResultSet *result, int32_t c_type, int32_t column, void *buffer,
                      int32_t buffer_size, int32_t *out_length);

// Sets `*out_pointer` to the text of a column of the current row, which the result keeps until the
// column's next text; returns the status. TVCI_C_CHAR is the only form: any other is no conversion
// and leaves both outputs as they were. A type without text gives NULL, and so does short memory,
// with the status of no conversion. The fifth argument, a size, is not used. `out_length` may be
// NULL.
int32_t ConvertColumnToText(ResultSet *result, int32_t c_type, int32_t column, char **out_pointer,
                            int32_t size, int32_t *out_length);

// Copies a text into the block that the result keeps for the column, which grows when it must, and
// ends it with a NUL. `growth` is the room that a block has to spare. NULL when memory is short or
// the result keeps no texts.
char *CacheColumnText(ResultSet *result, int32_t column, int32_t growth, const void *source,
                      int32_t length);

// Reads the value of one output parameter off the wire, as a response carries it, into the bound
// variable. The status goes to the bind's return code: 0, TVCI_VALUE_NULL without a change of the
// variable, TVCI_VALUE_TRUNCATED, or TVCI_VALUE_NO_CONVERSION for a pair of type and form that the
// table does not have; the length of texts and bytes to its return length. The value of a parameter
// that is not bound to one variable is dropped. A large object record takes the bytes over and
// lets go of those that it owned. False when the socket failed or memory was short: no status is
// written, and in the second case the value has not been read.
bool ReadOutParameter(TVCIStmt *stmt);
