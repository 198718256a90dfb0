// The heap, and the seam at which a test makes a request fail.
#include "platform/memory.h"

#include <cstdlib>
#include <cstring>

#ifdef TAVU_TEST_SEAMS
#include <atomic>

static std::atomic<uint64_t> requests_to_failure;
static std::atomic<bool> failure_reached;
static std::atomic<int64_t> live_blocks;

void MemFailAt(uint64_t n) {
    requests_to_failure = n;
    failure_reached = false;
}

bool MemFailed(void) {
    return failure_reached;
}

int64_t MemLiveBlocks(void) {
    return live_blocks;
}

static bool RequestFails(void) {
    uint64_t left = requests_to_failure.load();
    while (left != 0 && !requests_to_failure.compare_exchange_weak(left, left - 1)) {
    }
    if (left != 1) return false;
    failure_reached = true;
    return true;
}

static void *CountBlock(void *block, int64_t change) {
    if (block != NULL) {
        live_blocks += change;
    }
    return block;
}
#else
static bool RequestFails(void) {
    return false;
}

static void *CountBlock(void *block, int64_t change) {
    (void)change;
    return block;
}
#endif

void *MemAlloc(size_t bytes) {
    if (RequestFails()) return NULL;
    return CountBlock(calloc(bytes == 0 ? 1 : bytes, 1), 1);
}

void *MemAllocRaw(size_t bytes) {
    if (RequestFails()) return NULL;
    return CountBlock(malloc(bytes == 0 ? 1 : bytes), 1);
}

void *MemRealloc(void *block, size_t bytes) {
    if (RequestFails()) return NULL;
    void *grown = realloc(block, bytes == 0 ? 1 : bytes);
    return CountBlock(grown, block == NULL ? 1 : 0);
}

void MemFree(void *block) {
    CountBlock(block, -1);
    free(block);
}

char *MemCopyBytes(const void *source, size_t bytes) {
    char *copy = bytes == SIZE_MAX ? NULL : (char *)MemAllocRaw(bytes + 1);
    if (copy == NULL) return NULL;
    if (bytes != 0) {
        memcpy(copy, source, bytes);
    }
    copy[bytes] = '\0';
    return copy;
}

char *MemCopyText(const char *text) {
    return MemCopyBytes(text, strlen(text));
}
