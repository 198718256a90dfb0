// Chunks over mmap.
#include <sys/mman.h>

#include "platform/chunk.h"
#include "platform/memory.h"

#ifndef MAP_POPULATE
#define MAP_POPULATE 0
#endif

// All pages of a chunk are brought in by one call, which costs less than a fault for each.
void *ChunkMap(void) {
    void *chunk = mmap(NULL, MEM_CHUNK_BYTES, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    return chunk == MAP_FAILED ? NULL : chunk;
}

void ChunkUnmap(void *chunk) {
    munmap(chunk, MEM_CHUNK_BYTES);
}
