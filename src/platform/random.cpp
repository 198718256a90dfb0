// The random numbers of the Windows C library, computed here so that they are the same everywhere
// and nobody else draws from the sequence.
#include "platform/random.h"

static thread_local uint32_t state = 1;

void RandomSeed(uint32_t seed) {
    state = seed;
}

int32_t RandomNext(void) {
    state = state * 214013 + 2531011;
    return (int32_t)(state >> 16 & RANDOM_MAX);
}
