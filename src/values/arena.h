// Row memory: a chunk allocator that is released in one sweep.
#pragma once

#include <cstdint>

#include "records/result.h"

constexpr int32_t ARENA_CHUNK_BYTES = 65536;
// A request above this may start a chunk of its own size.
constexpr int32_t ARENA_LARGE_BYTES = 32768;

RowArena *ArenaCreate(void);
void ArenaFree(RowArena *arena);

// Hands out `bytes` bytes and one spare byte behind them, not zeroed; NULL when memory is short or
// `bytes` is negative.
void *ArenaAlloc(RowArena *arena, int32_t bytes);
