// Reading a response for nobody.
#pragma once

#include <cstdint>

#include "records/connection.h"

// Reads and throws away a whole response, up to the letter of its end. A paused row stream is asked
// to go on. A letter that opens no item is dropped. The caller holds the permit. Returns 0; -4 when
// a read failed; -5 when memory was short or a length that needs some was negative, and the stream
// stands in the middle of an item then.
int32_t DrainResponse(Connection *conn);
