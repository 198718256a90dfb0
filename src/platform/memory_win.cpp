// What large blocks ask of the system: here nothing, for large pages need a right of their own.
#include "platform/memory.h"

void MemExpectFill(void *block, size_t bytes) {
    (void)block;
    (void)bytes;
}
