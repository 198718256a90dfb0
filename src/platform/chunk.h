// Chunks of row memory: where memory.cpp gets them, and nobody else.
//
// A good part of what it costs to bring rows in is the system's work of handing out fresh pages. A
// chunk that is given back is therefore kept for the next result, up to a limit.
#pragma once

#include <cstddef>

// Returns MEM_CHUNK_BYTES bytes of unspecified content, or NULL.
void *ChunkTake(void);
void ChunkGive(void *chunk);

// What the system does with chunks.
void *ChunkMap(void);
void ChunkUnmap(void *chunk);
