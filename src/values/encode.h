// Parameters to the wire.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/statement.h"

// The codes under which parameters are declared.
enum SqlType {
    SQL_BOOLEAN = 1,
    SQL_TINYINT = 2,
    SQL_SMALLINT = 3,
    SQL_INTEGER = 4,
    SQL_BIGINT = 5,
    SQL_FLOAT = 6,
    SQL_DOUBLE = 7,
    SQL_NUMERIC = 8,
    SQL_DATE = 9,
    SQL_TIME = 10,
    SQL_DATETIME = 11,
    SQL_CHAR = 12,
    SQL_BINARY = 13,
    SQL_CLOB = 14,
    SQL_LONG_BINARY = 15,
    SQL_BLOB = 16,
    SQL_DATETIME_TZ = 17,
    SQL_TIME_TZ = 18,
    SQL_INTERVAL_YEAR = 20,
    SQL_INTERVAL_MONTH = 21,
    SQL_INTERVAL_DAY = 22,
    SQL_INTERVAL_HOUR = 23,
    SQL_INTERVAL_MINUTE = 24,
    SQL_INTERVAL_SECOND = 25,
    SQL_INTERVAL_YEAR_MONTH = 26,
    SQL_INTERVAL_DAY_SECOND = 27,
    SQL_INTERVAL_DAY_HOUR = 28,
    SQL_INTERVAL_DAY_MINUTE = 29,
    SQL_INTERVAL_HOUR_MINUTE = 30,
    SQL_INTERVAL_HOUR_SECOND = 31,
    SQL_INTERVAL_MINUTE_SECOND = 32,
    SQL_POINT = 33,   // the first of the geometry types
    SQL_RASTER = 45,  // the last of them
};

// The directions of parameters: one that carries a value, and one that takes a value back.
constexpr int32_t PARAM_KIND_INPUT = 1;
constexpr int32_t PARAM_KIND_OUTPUT = 2;

// Writes one parameter; does not flush. An unbound one writes nothing. A pair of codes that has no
// form on the wire writes name and direction alone; an array of pointers is a NULL.
void ParamSend(Connection *conn, const ParamRecord *param);

// Writes the counted name in front of a parameter's frame; 0 alone for one without a name.
void ParamSendName(Connection *conn, const ParamRecord *param);

// Whether the elements of an array in this form are pointers to their values.
bool ElementsArePointers(int32_t c_type);

// Writes the rows of an array execution: `array_rows` of them, each with the bound parameters in
// order; does not flush. An element that an array does not have is a NULL. Ends before the rows do
// when memory for a row is short, and in the middle of the first row at a form that has no
// elements, which the debug output tells.
void ParamSendRows(Connection *conn, TVCIStmt *stmt);

// Upper-case hexadecimal text of the bytes, to be freed; NULL for a NULL pointer, no bytes or no
// memory.
char *BytesToHex(const void *bytes, int32_t length);
