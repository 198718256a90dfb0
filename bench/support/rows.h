// The rows that the fetch benchmarks fetch: an int32, an int64, a double, a text of 20, a DATETIME
// and the rowid.
#pragma once

#include <cstdint>

#include "support/replay.h"

// Makes a result of so many rows, their values drawn from a fixed seed.
ReplayResult MakeRows(int64_t rows);
