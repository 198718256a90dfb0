// Row memory: a chunk allocator that is released in one sweep.
//
// A request costs its bytes and one spare byte behind them, in which a text finds room for its
// terminator. A value too large for what a chunk has left gets a chunk of its own size, so that the
// running chunk is not given up for it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/result.h"

constexpr int32_t ARENA_CHUNK_BYTES = 65536;
// A request above this may start a chunk of its own size.
constexpr int32_t ARENA_LARGE_BYTES = 32768;

// NULL when memory is short.
RowArena *ArenaCreate(void);
// Frees the arena with all that it handed out. NULL is ignored.
void ArenaFree(RowArena *arena);

// The request that the running chunk cannot serve. Called by ArenaAlloc only.
void *ArenaAllocChunk(RowArena *arena, int32_t bytes);

// Hands out `bytes` bytes and one spare byte behind them, not zeroed; NULL when memory is short or
// `bytes` is negative.
inline void *ArenaAlloc(RowArena *arena, int32_t bytes) {
    ArenaChunk *chunk = arena->current;
    // As unsigned numbers, a negative request is above what any chunk has free.
    if ((uint32_t)bytes >= (uint32_t)chunk->free) return ArenaAllocChunk(arena, bytes);
    uint8_t *piece = chunk->data + chunk->used;
    chunk->used += bytes + 1;
    chunk->free -= bytes + 1;
    return piece;
}

// Hands out `bytes` bytes that go with the arena and lie outside its chunks, not zeroed; NULL when
// memory is short. For the thread that converts values, while a row reader may fill the chunks.
void *ArenaKeep(RowArena *arena, size_t bytes);
