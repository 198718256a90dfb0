// The random numbers of the system's C library: one sequence for each thread.
#pragma once

#include <cstdint>

constexpr int32_t RANDOM_MAX = 0x7FFF;

// Starts the thread's sequence anew. A thread that never does begins as with a seed of 1.
void RandomSeed(uint32_t seed);

// The next number of the thread's sequence, 0 to RANDOM_MAX.
int32_t RandomNext(void);
