// Chunks of row memory: where memory.cpp gets them, and nobody else.
//
// Most of what it costs to bring rows in is the system's work of handing out fresh pages. A chunk
// that is given back is therefore kept for the next result, as far as there is room for it. Of the
// chunks kept, all but a few are offered to the system, which takes their pages when it is short of
// memory and leaves them in place when it is not.
#pragma once

#include <cstddef>

// Returns MEM_CHUNK_BYTES bytes of unspecified content, or NULL.
void *ChunkTake(void);
void ChunkGive(void *chunk);

// What the system does with chunks.
void *ChunkMap(void);
void ChunkUnmap(void *chunk);
// The content is no longer needed; the system may have the pages, and brings in others when the
// chunk is written again.
void ChunkOffer(void *chunk);
