// Row values to the application's buffers.
#pragma once

#include <cstdint>

#include "records/result.h"
#include "records/statement.h"

// Converts one column of the current row into a define's buffer; the status goes to its return
// code, the length to its return length.
void ConvertColumnToDefine(ResultSet *result, const DefineRecord *define);

// Converts one column (index from 0) of the current row; returns the status.
int32_t ConvertColumn(ResultSet *result, int32_t c_type, int32_t column, void *buffer,
                      int32_t buffer_size, int32_t *out_length);

// Renders a DOUBLE with 16 digits; `text` has room for 512 bytes.
void DoubleToText(char *text, double value);

// Bytes of a hexadecimal text, to be freed; NULL when it is none.
uint8_t *HexToBytes(const char *text, int32_t length);
