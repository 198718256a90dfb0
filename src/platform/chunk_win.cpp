// Chunks over VirtualAlloc, whose unit is just as large.
#include <windows.h>

#include "platform/chunk.h"
#include "platform/memory.h"

void *ChunkMap(void) {
    return VirtualAlloc(NULL, MEM_CHUNK_BYTES, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void ChunkUnmap(void *chunk) {
    VirtualFree(chunk, 0, MEM_RELEASE);
}
