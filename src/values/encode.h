// Parameters to the wire.
#pragma once

#include <cstdint>

#include "records/connection.h"
#include "records/statement.h"

// Writes one parameter; does not flush. An unbound one writes nothing.
void ParamSend(Connection *conn, const ParamRecord *param);

// Upper-case hexadecimal text of the bytes, to be freed; NULL for a NULL pointer or no bytes.
char *BytesToHex(const void *bytes, int32_t length);
