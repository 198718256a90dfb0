// The heap: the one place that asks the system for memory.
#pragma once

#include <cstddef>
#include <cstdint>

// Returns `bytes` zeroed bytes, or NULL. A request of 0 bytes gives a block that must be released.
void *MemAlloc(size_t bytes);

// Returns `bytes` bytes of unspecified content, or NULL; for blocks that are written before they
// are read.
void *MemAllocRaw(size_t bytes);

// Resizes `block` (NULL: a new block). The added bytes are not zeroed. On NULL the old block stays.
void *MemRealloc(void *block, size_t bytes);

// Releases a block of the functions above. NULL is ignored.
void MemFree(void *block);

// Tells the system that all bytes of a block will be written before long. Changes nothing but how
// soon their memory is there: page by page it costs more than all else that is done to a large
// block.
void MemExpectFill(void *block, size_t bytes);

// Returns an owned copy of `bytes` bytes with a NUL behind them, or NULL. `source` may be NULL when
// `bytes` is 0.
char *MemCopyBytes(const void *source, size_t bytes);

// Returns an owned copy of a NUL-terminated text, or NULL.
char *MemCopyText(const char *text);

#ifdef TAVU_TEST_SEAMS
// Makes the n-th allocation from now (counting from 1) fail, and no other. 0 switches it off.
void MemFailAt(uint64_t n);
// Whether the allocation named by MemFailAt has been reached.
bool MemFailed(void);
// Blocks that are allocated and not yet released.
int64_t MemLiveBlocks(void);
#endif
