// The chunks that are kept for the next result.
#include "platform/chunk.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "platform/memory.h"

#ifdef __SANITIZE_ADDRESS__
// A chunk that is kept would look alive to the sanitizer.
void *ChunkTake(void) {
    return malloc(MEM_CHUNK_BYTES);
}

void ChunkGive(void *chunk) {
    free(chunk);
}
#else
// 16 MiB: the rows of a result of a hundred thousand or so.
constexpr int32_t KEPT_CHUNKS_MAX = 256;

static void *kept_chunks[KEPT_CHUNKS_MAX];
static int32_t kept_chunk_count;
// Set while a thread changes the list. Whoever finds it set goes to the system instead: nobody
// waits, and a process that was forked in such a moment can go on.
static std::atomic<bool> list_busy;

static bool EnterList(void) {
    return !list_busy.exchange(true, std::memory_order_acquire);
}

static void LeaveList(void) {
    list_busy.store(false, std::memory_order_release);
}

void *ChunkTake(void) {
    void *chunk = NULL;
    if (EnterList()) {
        if (kept_chunk_count > 0) {
            chunk = kept_chunks[--kept_chunk_count];
        }
        LeaveList();
    }
    return chunk == NULL ? ChunkMap() : chunk;
}

void ChunkGive(void *chunk) {
    bool kept = false;
    if (EnterList()) {
        kept = kept_chunk_count < KEPT_CHUNKS_MAX;
        if (kept) {
            kept_chunks[kept_chunk_count++] = chunk;
        }
        LeaveList();
    }
    if (!kept) {
        ChunkUnmap(chunk);
    }
}

// When the library is unloaded, or the process ends.
__attribute__((destructor)) static void ReleaseKeptChunks(void) {
    if (!EnterList()) return;
    while (kept_chunk_count > 0) {
        ChunkUnmap(kept_chunks[--kept_chunk_count]);
    }
    LeaveList();
}
#endif
