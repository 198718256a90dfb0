// Memory that held a secret.
#pragma once

#include <cstddef>
#include <cstring>

// Zeroes the bytes, also where the compiler sees that nobody reads them again.
inline void Wipe(void *bytes, size_t count) {
    memset(bytes, 0, count);
    __asm__ volatile("" : : "r"(bytes) : "memory");
}
