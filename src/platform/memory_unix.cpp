// What large blocks ask of the system.
#include <sys/mman.h>

#include "platform/memory.h"

// The size and alignment of a large page; where it is another one the system takes what fits.
constexpr uintptr_t LARGE_PAGE_BYTES = 2 << 20;

void MemExpectFill(void *block, size_t bytes) {
#ifdef MADV_HUGEPAGE
    const uintptr_t start = ((uintptr_t)block + LARGE_PAGE_BYTES - 1) & ~(LARGE_PAGE_BYTES - 1);
    const uintptr_t end = ((uintptr_t)block + bytes) & ~(LARGE_PAGE_BYTES - 1);
    if (end > start) {
        madvise((void *)start, end - start, MADV_HUGEPAGE);
    }
#else
    (void)block;
    (void)bytes;
#endif
}
