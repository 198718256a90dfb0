// Row memory: the chunks of an arena.
#include "values/arena.h"

#include <cstdio>

#include "platform/debug.h"
#include "platform/memory.h"

constexpr size_t FAILURE_TEXT_BYTES = 64;

// Makes a chunk record with a buffer of its own, all of it free; not linked.
static ArenaChunk *NewChunk(int32_t capacity) {
    ArenaChunk *chunk = (ArenaChunk *)MemAlloc(sizeof(ArenaChunk));
    void *data = chunk == NULL ? NULL : MemAllocRaw((size_t)capacity);
    if (data == NULL) {
        char text[FAILURE_TEXT_BYTES];
        snprintf(text, sizeof(text), "\n here malloc size %d failed \n", capacity);
        DebugOutput(text);
        MemFree(chunk);
        return NULL;
    }
    chunk->data = (uint8_t *)data;
    chunk->capacity = capacity;
    chunk->free = capacity;
    return chunk;
}

RowArena *ArenaCreate(void) {
    RowArena *arena = (RowArena *)MemAlloc(sizeof(RowArena));
    if (arena == NULL) return NULL;
    arena->first = NewChunk(ARENA_CHUNK_BYTES);
    if (arena->first == NULL) {
        MemFree(arena);
        return NULL;
    }
    arena->current = arena->first;
    return arena;
}

void ArenaFree(RowArena *arena) {
    if (arena == NULL) return;
    ArenaChunk *chunk = arena->first;
    while (chunk != NULL) {
        ArenaChunk *next = chunk->next;
        MemFree(chunk->data);
        MemFree(chunk);
        chunk = next;
    }
    while (arena->kept != NULL) {
        KeptBlock *block = arena->kept;
        arena->kept = block->next;
        MemFree(block);
    }
    MemFree(arena);
}

// Links the chunk behind the current one and makes it current.
static void LinkChunk(RowArena *arena, ArenaChunk *chunk) {
    chunk->next = arena->current->next;
    arena->current->next = chunk;
    arena->current = chunk;
}

// Opens a new running chunk and serves the request from its start.
static void *AllocFromNewChunk(RowArena *arena, int32_t bytes) {
    ArenaChunk *chunk = NewChunk(ARENA_CHUNK_BYTES);
    if (chunk == NULL) return NULL;
    LinkChunk(arena, chunk);
    chunk->used = bytes + 1;
    chunk->free = ARENA_CHUNK_BYTES - bytes - 1;
    return chunk->data;
}

// Serves the request with a buffer of its exact size. The running chunk moves into the new record,
// which comes behind the old one, so that what it has left is used by the next small request.
static void *AllocOwnBuffer(RowArena *arena, int32_t bytes) {
    ArenaChunk *chunk = NewChunk(bytes + 1);
    if (chunk == NULL) return NULL;
    ArenaChunk *old = arena->current;
    uint8_t *own_data = chunk->data;
    chunk->data = old->data;
    chunk->capacity = old->capacity;
    chunk->used = old->used;
    chunk->free = old->free;
    LinkChunk(arena, chunk);
    old->data = own_data;
    old->capacity = bytes + 1;
    old->used = bytes + 1;
    old->free = 0;
    return own_data;
}

void *ArenaAllocChunk(RowArena *arena, int32_t bytes) {
    if (bytes < 0 || bytes == INT32_MAX) return NULL;
    const int32_t cost = bytes + 1;
    const bool little_left = arena->current->free <= ARENA_LARGE_BYTES;
    if (cost <= ARENA_CHUNK_BYTES && (cost <= ARENA_LARGE_BYTES || little_left)) {
        return AllocFromNewChunk(arena, bytes);
    }
    return AllocOwnBuffer(arena, bytes);
}

void *ArenaKeep(RowArena *arena, size_t bytes) {
    KeptBlock *block = (KeptBlock *)MemAllocRaw(sizeof(KeptBlock) + bytes);
    if (block == NULL) return NULL;
    block->next = arena->kept;
    arena->kept = block;
    return block + 1;
}
